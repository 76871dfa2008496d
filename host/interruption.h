// Ctrl-C and the system's requests to end. The first one asks the work to stop and frees the
// device; the second ends the program within half a second.
#ifndef SCANTK_HOST_INTERRUPTION_H_
#define SCANTK_HOST_INTERRUPTION_H_

#include <functional>

namespace scanhost {

// Thrown where work stops because of it, after the device was stopped.
struct Interrupted {
  int status;  // the exit status that says so
};

class Interruption {
 public:
  // Once, at the beginning of the program.
  static void Watch();
  // 0, or the exit status of a program that ends because of it (130 after Ctrl-C). Any thread.
  static int Status();
  static void ThrowIfAsked();
  // Before something else is said: ends the line that counts the seconds.
  static void EndLine();

  // While one lives, a device is in use: the first request says what happens, the second calls the
  // rescues of all that live, the newest first, on another thread before the program ends.
  class Guard {
   public:
    explicit Guard(std::function<void()> rescue);
    ~Guard();
    Guard(const Guard&) = delete;
    Guard& operator=(const Guard&) = delete;
  };
};

}  // namespace scanhost

#endif  // SCANTK_HOST_INTERRUPTION_H_
