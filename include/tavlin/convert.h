// Converting one stitch file into another format, chosen by the names' extensions.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <system_error>
#include <vector>

namespace tavlin {

struct ConvertOptions {
  // The longest piece of a split move, 20 to 121 (0.1 mm).
  int16_t maxStitchLength = 50;
  // Called now and then with the work done and the whole; may be empty.
  std::function<void(double done, double total)> progress{};
  // Called when the design fits the destination's largest hoop only turned by a
  // quarter, and was so turned (a PES says so in its transform; reading it back turns
  // the design back). May be empty.
  std::function<void()> turnedToFit{};
};

// Why no conversion from the one file's format to the other's keeps a design ("QCD
// designs are read only into CND"), or empty when one does.
std::string WhyNotConvertible(const std::string& source, const std::string& dest);

// The formats a conversion passes through, source first and destination last ("DST",
// "QEP", "PES"); empty where no route keeps the design.
std::vector<std::string> ConversionRoute(const std::string& source, const std::string& dest);

// Why a file is no whole design of its format ("the file is empty", "the file is cut
// short: its DST stream ends before its end record"), or empty where nothing says so.
// Convert and a disc's Write refuse such a source before they write anything.
std::string WhySourceUnsound(const std::string& source);

// Follows the formats' routes: a conversion that the two formats can't carry whole
// goes by way of a working format (a U file to T01 by way of DST), or is refused
// before anything is written.
// Writes into a file beside the destination and puts it in the destination's place
// only when the conversion succeeds: a failure leaves the destination as it was.
std::error_code Convert(const std::string& source, const std::string& dest,
                        const ConvertOptions& options = {});

}  // namespace tavlin
