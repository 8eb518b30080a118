// vorbelctl: the other end of every door of a bench. Finds the command that was asked for and runs it; what cannot be
// opened ends here with the reason.
#include <array>
#include <exception>
#include <iostream>
#include <stdexcept>
#include <string_view>

#include "vorbelctl/commands/audit.h"
#include "vorbelctl/commands/control.h"
#include "vorbelctl/commands/doctor.h"
#include "vorbelctl/commands/fetch.h"
#include "vorbelctl/commands/listen.h"
#include "vorbelctl/commands/options.h"
#include "vorbelctl/commands/report.h"
#include "vorbelctl/commands/wait.h"
#include "vorbelctl/commands/watch.h"

namespace {

struct Command {
  std::string_view name;
  int (*run)(const vorbelctl::Options&);
};

constexpr std::array commands{
    Command{"control", vorbelctl::run_control}, Command{"listen", vorbelctl::run_listen},
    Command{"report", vorbelctl::run_report},   Command{"fetch", vorbelctl::run_fetch},
    Command{"wait", vorbelctl::run_wait},       Command{"doctor", vorbelctl::run_doctor},
    Command{"watch", vorbelctl::run_watch},     Command{"audit", vorbelctl::run_audit},
};

// What could not be written was not said, whatever the command made of its work.
int after_output(int status) {
  if (std::cout.flush()) return status;
  std::cerr << "vorbelctl: standard output cannot be written\n";
  return vorbelctl::something_amiss;
}

}  // namespace

int main(int argc, char** argv) {
  vorbelctl::Options options;
  if (const auto status = vorbelctl::read_options(argc, argv, options)) return *status;
  try {
    for (const auto& command : commands) {
      if (command.name == options.command) return after_output(command.run(options));
    }
  } catch (const std::invalid_argument& problem) {
    std::cerr << "vorbelctl: " << problem.what() << "\n";
    return vorbelctl::wrong_usage;
  } catch (const std::exception& problem) {
    std::cerr << "vorbelctl: " << problem.what() << "\n";
    return vorbelctl::nobody_there;
  }
  return vorbelctl::wrong_usage;
}
