// xo: the command-line face of the library.
#include <cstdio>
#include <cstring>
#include <functional>
#include <map>
#include <string>

#include "uXoClasses.h"

namespace {

constexpr const char* kVersion = "0.1.0";

void PrintUsage(std::FILE* AOut) {
  std::fprintf(AOut,
               "xo %s - XML and JSON from the command line\n"
               "\n"
               "Usage: xo COMMAND [ARGS]\n"
               "\n"
               "Commands:\n"
               "  help, --help       show this text\n"
               "  version, --version print the version\n",
               kVersion);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2) {
    PrintUsage(stderr);
    return 2;
  }
  std::string cmd = argv[1];
  if (cmd == "help" || cmd == "--help" || cmd == "-h") {
    PrintUsage(stdout);
    return 0;
  }
  if (cmd == "version" || cmd == "--version") {
    std::printf("xo %s\n", kVersion);
    return 0;
  }
  std::fprintf(stderr, "xo: unknown command '%s'\n\n", cmd.c_str());
  PrintUsage(stderr);
  return 2;
}
