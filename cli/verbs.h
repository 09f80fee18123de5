// The verbs of the tavlin command, one file each.
#pragma once

#include <CLI/CLI.hpp>

namespace tavlin::cli {

// Each adds its subcommand; the callback sets the exit code.
void AddConvert(CLI::App& app, int& exitCode);
void AddInfo(CLI::App& app, int& exitCode);
void AddFormats(CLI::App& app, int& exitCode);
void AddDemo(CLI::App& app, int& exitCode);
void AddDisc(CLI::App& app, int& exitCode);
// Under `disc`: emulator-config, export-hfe and import-hfe.
void AddDiscEmulator(CLI::App& disc, int& exitCode);
void AddPreview(CLI::App& app, int& exitCode);

}  // namespace tavlin::cli
