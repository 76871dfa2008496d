// What a command-line program needs of the system beside the toolkit's own roles: Ctrl-C, whether a
// stream is a terminal, a child process, file names of programs and libraries.
#ifndef SCANTK_PLATFORM_CONSOLE_H_
#define SCANTK_PLATFORM_CONSOLE_H_

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace scantk {

// While one lives, the first Ctrl-C (or termination request) is noted instead of ending the
// process; the second ends it at once. One at a time.
class InterruptWatch {
 public:
  InterruptWatch();
  ~InterruptWatch();
  InterruptWatch(const InterruptWatch&) = delete;
  InterruptWatch& operator=(const InterruptWatch&) = delete;

  // 0, or the exit status of a program that ends because of it (130 after Ctrl-C). Any thread.
  static int Status();
};

enum class StandardStream { kOutput = 1, kError = 2 };
bool IsTerminal(StandardStream stream);

// Sets a variable of this process's environment; its children inherit it. Not while another thread
// reads the environment.
void SetEnvironment(const char* name, const std::string& value);

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

}  // namespace scantk

#endif  // SCANTK_PLATFORM_CONSOLE_H_
