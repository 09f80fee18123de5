// The tavlin command: stitch files and machine discs from the shell.
#include <cstring>
#include <iostream>

#include "verbs.h"

namespace {

struct Verb {
  const char* name;
  void (*add)(CLI::App& app, int& exitCode);
};

constexpr Verb kVerbs[] = {
    {"convert", tavlin::cli::AddConvert}, {"info", tavlin::cli::AddInfo},
    {"formats", tavlin::cli::AddFormats}, {"demo", tavlin::cli::AddDemo},
    {"disc", tavlin::cli::AddDisc},       {"preview", tavlin::cli::AddPreview},
};

}  // namespace

int main(int argc, char** argv) {
  CLI::App app{"tavlin: embroidery designs onto and off machine floppy discs, and stitch files "
               "converted between machine formats"};
  app.set_version_flag("--version", std::string("tavlin ") + TAVLIN_VERSION);
  app.require_subcommand(1);
  int exitCode = 0;
  // Only the verb asked for is built: the whole tree of verbs and options costs a run
  // more than most conversions do. Without one (help, a mistyped verb) all are built.
  bool named = false;
  for (const Verb& verb : kVerbs) named = named || (argc > 1 && std::strcmp(argv[1], verb.name) == 0);
  for (const Verb& verb : kVerbs) {
    if (!named || std::strcmp(argv[1], verb.name) == 0) verb.add(app, exitCode);
  }
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& e) {
    return app.exit(e);
  } catch (const std::exception& e) {
    std::cerr << "tavlin: " << e.what() << "\n";
    return 1;
  }
  return exitCode;
}
