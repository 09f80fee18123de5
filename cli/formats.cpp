// tavlin formats: every format code, its extension, and what this build does with it.
#include <cstdio>

#include "tavlin/design.h"
#include "verbs.h"

namespace tavlin::cli {

void AddFormats(CLI::App& app, int&) {
  auto* verb = app.add_subcommand("formats", "List the stitch formats and what reads and writes "
                                             "them in this build");
  verb->callback([] {
    std::printf("%5s  %-5s  %-5s  %-26s  %-5s  %s\n", "code", "end", "ext", "family", "reads",
                "writes");
    for (const FormatInfo& f : StitchFormats()) {
      const std::string end = f.fileEnd == "   " ? "' '" : f.fileEnd;
      std::printf("%5d  %-5s  %-5s  %-26s  %-5s  %s\n", f.code, end.c_str(), f.extension.c_str(),
                  f.family.c_str(), f.reads ? "yes" : "no", f.writes ? "yes" : "no");
    }
  });
}

}  // namespace tavlin::cli
