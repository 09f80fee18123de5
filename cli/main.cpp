// The tavlin command: stitch files and machine discs from the shell.
#include <iostream>

#include "verbs.h"

int main(int argc, char** argv) {
  CLI::App app{"tavlin: embroidery designs onto and off machine floppy discs, and stitch files "
               "converted between machine formats"};
  app.set_version_flag("--version", std::string("tavlin ") + TAVLIN_VERSION);
  app.require_subcommand(1);
  int exitCode = 0;
  tavlin::cli::AddConvert(app, exitCode);
  tavlin::cli::AddInfo(app, exitCode);
  tavlin::cli::AddFormats(app, exitCode);
  tavlin::cli::AddDemo(app, exitCode);
  tavlin::cli::AddDisc(app, exitCode);
  tavlin::cli::AddPreview(app, exitCode);
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
