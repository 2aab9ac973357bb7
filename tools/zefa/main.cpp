// zefa: the library at work on this machine, from the command line. Exit codes: 0 success,
// 1 a failure reported by the backend or the machine, 2 a usage error.
#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

#include "tools/common/ZefaCommandLine.h"
#include "tools/zefa/ZefaDemoCommand.h"
#include "tools/zefa/ZefaGetCommand.h"
#include "tools/zefa/ZefaInfoCommand.h"
#include "tools/zefa/ZefaLoginRecordCommand.h"
#include "tools/zefa/ZefaPostCommand.h"

namespace {

constexpr const char* kHelp = R"(usage: zefa COMMAND [options]   (zefa COMMAND --help for each)

  info           this machine's ZefaStaticInfo record and environment facts
  post           one backend call through ZefaServerCall, with the library's log
  get            one GET through the library's transport
  login-record   show, set or clear the stored login record ("ZEFA_LOGIN_TOKEN")
  demo           the whole road against a development backend in this process

Exit codes: 0 success, 1 a failure (backend code, transport error, time limit), 2 usage.
)";

struct Command {
  std::string_view name;
  int (*run)(const std::vector<std::string>&);
};

constexpr Command kCommands[] = {
    {"info", &ZefaInfoCommand::run}, {"post", &ZefaPostCommand::run},
    {"get", &ZefaGetCommand::run},   {"login-record", &ZefaLoginRecordCommand::run},
    {"demo", &ZefaDemoCommand::run},
};

}  // namespace

int main(int argc, char** argv) {
  const std::string name = argc > 1 ? argv[1] : "";
  if (name == "--help" || name == "-h" || name == "help") {
    std::fputs(kHelp, stdout);
    return ZefaCommandLine::kSuccess;
  }
  for (const Command& command : kCommands) {
    if (command.name == name) return command.run(std::vector<std::string>(argv + 2, argv + argc));
  }
  std::fprintf(stderr, "zefa: %s\n\n%s",
               name.empty() ? "a command is required" : ("unknown command " + name).c_str(), kHelp);
  return ZefaCommandLine::kUsageError;
}
