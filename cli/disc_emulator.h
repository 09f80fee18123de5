// What `disc format` and `disc write` share with the emulator verbs: --emulator, and
// the IMG.CFG that goes with an image for FlashFloppy.
#pragma once

#include <CLI/CLI.hpp>
#include <string>

#include "tavlin/disc.h"

namespace tavlin::cli {

struct EmulatorArgs {
  std::string emulator;  // empty, or "flashfloppy"
};

// Adds --emulator to a verb that makes or changes an image.
void AddEmulatorOption(CLI::App& verb, EmulatorArgs& args);

// Before the image is touched: whether FlashFloppy will find the IMG.CFG section by the
// image's name; false, with the failure said, when it won't.
bool EmulatorNameFits(const EmulatorArgs& args, const std::string& image, DiscFamily family,
                      int& exitCode);

// After: puts the family's section into the IMG.CFG the image belongs with (or into
// `config` when given) and says where; false, with the failure said, when it can't.
bool WriteEmulatorConfig(const EmulatorArgs& args, const std::string& image, DiscFamily family,
                         int& exitCode, const std::string& config = {});

}  // namespace tavlin::cli
