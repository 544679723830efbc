// xo: the command-line face of the library. Each command lives in its own
// cmd_*.cpp and registers itself; this file dispatches and prints help.
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "xo_tool.h"

namespace {

constexpr const char* kVersion = "0.1.0";

void PrintUsage(std::FILE* AOut) {
  std::fprintf(AOut,
               "xo %s - XML and JSON from the command line\n"
               "\n"
               "Usage: xo COMMAND [ARGS]\n"
               "\n"
               "Commands:\n",
               kVersion);
  for (const xotool::TCommand& c : xotool::Commands()) std::fprintf(AOut, "  %-26s %s\n", c.Synopsis, c.Summary);
  std::fprintf(AOut,
               "  %-26s %s\n  %-26s %s\n"
               "\n"
               "FILE may be '-' for standard input. Output is UTF-8.\n"
               "Exit status: 0 done, 1 the input failed (not well-formed, unreadable, or\n"
               "nothing selected), 2 usage error, 3 the output could not be written.\n",
               "help [COMMAND]", "show this text, or the help of one command", "version", "print the version");
  for (const xotool::TCommand& c : xotool::Commands())
    if (c.Help[0] != '\0') std::fprintf(AOut, "\nxo %s\n%s", c.Synopsis, c.Help);
}

const xotool::TCommand* FindCommand(const char* AName) {
  for (const xotool::TCommand& c : xotool::Commands())
    if (std::strcmp(c.Name, AName) == 0) return &c;
  return nullptr;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2) {
    PrintUsage(stderr);
    return xotool::kExitUsage;
  }
  // Arguments stay the bytes the system gave: file names need not be UTF-8.
  std::string cmd = argv[1];
  std::vector<std::string> args(argv + 2, argv + argc);
  if (cmd == "help" || cmd == "--help" || cmd == "-h") {
    if (!args.empty()) {
      const xotool::TCommand* c = FindCommand(args[0].c_str());
      if (c == nullptr) return xotool::UsageError("help", "unknown command '" + args[0] + "'");
      std::printf("Usage: xo %s\n  %s\n%s", c->Synopsis, c->Summary, c->Help);
    } else {
      PrintUsage(stdout);
    }
    return std::fflush(stdout) == 0 ? xotool::kExitOK : xotool::kExitOutput;
  }
  if (cmd == "version" || cmd == "--version") {
    std::printf("xo %s\n", kVersion);
    return std::fflush(stdout) == 0 ? xotool::kExitOK : xotool::kExitOutput;
  }
  if (const xotool::TCommand* c = FindCommand(cmd.c_str())) return c->Run(args);
  std::fprintf(stderr, "xo: unknown command '%s'\n\n", cmd.c_str());
  PrintUsage(stderr);
  return xotool::kExitUsage;
}
