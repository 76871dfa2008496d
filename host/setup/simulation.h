// A simulated device of this program's own: a scantk-sim process on a free loopback address, and a
// registry file that holds that device alone.
#ifndef SCANTK_HOST_SETUP_SIMULATION_H_
#define SCANTK_HOST_SETUP_SIMULATION_H_

#include <memory>
#include <string>
#include <vector>

#include "host/console.h"
#include "host/interruption.h"

namespace scanhost {

class Simulation {
 public:
  // Starts scantk-sim with `arguments` and waits until it listens. From then on this process's
  // registry is the temporary file, with the trace switched on when `trace_file` is not empty.
  // Throws HostFailure.
  Simulation(const std::vector<std::string>& arguments, const std::string& trace_file,
             const std::string& trace_level);
  // Ends the process and removes the files.
  ~Simulation();
  Simulation(const Simulation&) = delete;
  Simulation& operator=(const Simulation&) = delete;

 private:
  std::string Folder() const;  // of the temporary registry

  void Remove() const;

  std::string taken_file_;
  std::unique_ptr<ChildProcess> process_;
  std::unique_ptr<Interruption::Guard> guard_;
};

}  // namespace scanhost

#endif  // SCANTK_HOST_SETUP_SIMULATION_H_
