// What a command-line program needs of the system beside the toolkit: Ctrl-C, whether a
// stream is a terminal, a child process, file names of programs and libraries.
#ifndef SCANTK_HOST_CONSOLE_H_
#define SCANTK_HOST_CONSOLE_H_

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace scanhost {

// From now on Ctrl-C and the system's requests to end call `reaction` on another thread, with the
// exit status that says so (130 after Ctrl-C), and writing to a closed pipe is an error like
// others.
void WatchSignals(void (*reaction)(int status));

enum class StandardStream { kOutput = 1, kError = 2 };
bool IsTerminal(StandardStream stream);
// Standard output takes bytes as they are.
void BinaryOutput();

// Sets a variable of this process's environment; its children inherit it. Not while another thread
// reads the environment.
void SetEnvironment(const char* name, const std::string& value);

// Full path of the running program, or empty when it cannot be told.
std::string ExecutablePath();
uint32_t ProcessId();

// "scanhost" as the file name of a program, "scantk1" as that of a shared library.
std::string ProgramFileName(const std::string& stem);
std::string LibraryFileName(const std::string& stem);

// A program that this process started. Ctrl-C at the terminal does not reach it; it is ended by the
// destructor and, on Linux, when this process dies.
class ChildProcess {
 public:
  // Starts `program` (a path) with `arguments`; its standard output can be read here. Null and
  // *error: why not.
  static std::unique_ptr<ChildProcess> Start(const std::string& program,
                                             const std::vector<std::string>& arguments,
                                             std::string* error);
  // Asks the child to end, waits, and kills it when it has not ended after two seconds.
  ~ChildProcess();
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;

  // The next line of the child's output, without its line break. False when the child closed its
  // output or `milliseconds` passed first.
  bool ReadLine(uint32_t milliseconds, std::string* line);

 private:
  struct State;
  explicit ChildProcess(std::unique_ptr<State> state);
  std::unique_ptr<State> state_;
};

}  // namespace scanhost

#endif  // SCANTK_HOST_CONSOLE_H_
