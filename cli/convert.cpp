// tavlin convert SOURCE DEST: one stitch file into another format, by extension.
#include <filesystem>
#include <iostream>
#include <string>

#include "common.h"
#include "tavlin/convert.h"
#include "verbs.h"

namespace tavlin::cli {

void AddConvert(CLI::App& app, int& exitCode) {
  auto* verb = app.add_subcommand("convert", "Convert a stitch file to another format, "
                                             "chosen by the destination's extension");
  auto source = std::make_shared<std::string>();
  auto dest = std::make_shared<std::string>();
  auto maxStitch = std::make_shared<int>(50);
  auto verbose = std::make_shared<bool>(false);
  verb->add_option("SOURCE", *source, "the stitch file to read")->required();
  verb->add_option("DEST", *dest, "the stitch file to write")->required();
  verb->add_option("--max-stitch-length", *maxStitch,
                   "longest piece of a split move, 20 to 121 (0.1 mm)")
      ->check(CLI::Range(20, 121));
  verb->add_flag("-v,--verbose", *verbose, "say which working formats the design passes through");
  verb->callback([source, dest, maxStitch, verbose, &exitCode] {
    std::error_code missing;
    if (!std::filesystem::is_regular_file(*source, missing)) {
      exitCode = Fail("cannot convert " + *source + ": file not found (code 53)");
      return;
    }
    for (const std::string& why : {RefusedFormat(*source, true), RefusedFormat(*dest, false),
                                   WhyNotConvertible(*source, *dest)}) {
      if (!why.empty()) {
        exitCode = Fail("cannot convert " + *source + " to " + *dest + ": " + why);
        return;
      }
    }
    if (*verbose) {
      const std::vector<std::string> route = ConversionRoute(*source, *dest);
      if (route.size() > 2) {
        std::string through;
        for (size_t at = 1; at + 1 < route.size(); ++at) through += (at > 1 ? ", " : "") + route[at];
        std::cerr << "tavlin: " << route.front() << " to " << route.back() << " by way of " << through
                  << "\n";
      }
    }
    const ConvertOptions options{.maxStitchLength = static_cast<int16_t>(*maxStitch),
                                 .progress = ProgressBar()};
    const std::error_code ec = Convert(*source, *dest, options);
    ClearProgressBar();
    if (ec) exitCode = Fail("cannot convert " + *source + " to " + *dest + ": " + InWords(ec));
  });
}

}  // namespace tavlin::cli
