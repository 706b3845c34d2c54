#include <cstdio>
#include <string>

#include "host/ctl/CommandLine.h"
#include "host/ctl/Commands.h"

namespace Routing::Host {

namespace {

std::string optionsOf(const CLI::App& app) {
  std::string words;
  for (const CLI::Option* option : app.get_options()) {
    for (const std::string& name : option->get_lnames()) {
      words.append(" --").append(name);
    }
  }
  return words;
}

struct Script {
  // Every command as "show vrfs", between bars.
  std::string paths = "|";
  // For each a case that sets the words which may follow it.
  std::string cases;
};

void append(Script& script, const CLI::App& app, const std::string& path) {
  std::string words = optionsOf(app);
  const auto commands =
      app.get_subcommands([](const CLI::App* command) { return !command->get_name().empty(); });
  for (const CLI::App* command : commands) {
    words.append(" ").append(command->get_name());
  }
  script.cases.append("    '").append(path).append("') words='").append(words.erase(0, 1));
  script.cases.append("' ;;\n");
  for (const CLI::App* command : commands) {
    std::string below = path;
    below.append(path.empty() ? "" : " ").append(command->get_name());
    script.paths.append(below).append("|");
    append(script, *command, below);
  }
}

}  // namespace

std::string bashCompletion() {
  CtlOptions options;
  const std::unique_ptr<CLI::App> app = commandLine(options);
  Script script;
  append(script, *app, "");
  return "# Completes command lines of nexthopctl: source <(nexthopctl completion bash)\n"
         "_nexthopctl() {\n"
         "  local word words='' path='' present=${COMP_WORDS[COMP_CWORD]}\n"
         "  local paths='" +
         script.paths +
         "'\n"
         "  COMPREPLY=()\n"
         "  case ${COMP_WORDS[COMP_CWORD - 1]} in\n"
         "    --socket | --tls-cert | --tls-key | --tls-ca)\n"
         "      mapfile -t COMPREPLY < <(compgen -f -- \"$present\")\n"
         "      return ;;\n"
         "  esac\n"
         "  for word in \"${COMP_WORDS[@]:1:COMP_CWORD-1}\"; do\n"
         "    [[ $paths == *\"|${path:+$path }$word|\"* ]] && path+=${path:+ }$word\n"
         "  done\n"
         "  case $path in\n" +
         script.cases +
         "  esac\n"
         "  [[ -z $path ]] || words+='" +
         optionsOf(*app) +
         "'\n"
         "  mapfile -t COMPREPLY < <(compgen -W \"$words\" -- \"$present\")\n"
         "}\n"
         "complete -F _nexthopctl nexthopctl\n";
}

CtlExit completion(const CtlOptions& /*options*/) {
  const std::string script = bashCompletion();
  std::fwrite(script.data(), 1, script.size(), stdout);
  return CtlExit::good;
}

}  // namespace Routing::Host
