// ConvertStitchFile: streams a stitch file of one format into another, one record at a
// time, and fills in what depends on the whole design by seeking back at the end.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "conversion/conversion_run.h"
#include "state/shared_record.h"

namespace tavlin {

// Results besides 0 (done) and 1 (a name is empty, nothing touched).
constexpr int16_t kResultHoopTooSmall = -100;
constexpr int16_t kResultOutOfRange = -17005;
// The library's own: a source whose bytes are not of the format its name gives (a ".PES"
// without the "#PES" signature). The class reads whatever the bytes hold.
constexpr int16_t kResultNotThisFormat = -17006;
// A head that doesn't fit its file, or a compressed stream that can't be decoded.
constexpr int16_t kResultDamagedFile = -17010;

// sourceType and destType are changed from T01/T03 to DST/DSB when a wrapper is read
// or written. On any result but 0 and 1 the destination is deleted. A code with no
// reader or writer in this build gives 5 before anything is touched.
int16_t ConvertStitchFile(ConversionSettings& settings, int16_t& sourceType, int16_t& destType,
                          const std::string& sourceFile, const std::string& destFile,
                          std::string& resolvedSource);

// The same for a caller that keeps its settings in the shared record: its longest
// stitch, PES flag, last destination name and progress object go in; the PES flag
// and the hoop come back.
int16_t ConvertStitchFile(SharedRecord& shared, int16_t& sourceType, int16_t& destType,
                          const std::string& sourceFile, const std::string& destFile,
                          std::string& resolvedSource);

// The same, reporting to the given progress object (none when null) instead of the
// record's CurrentPB, which is put back afterwards: for callers that are not a host's
// disc call and have no progress object of the host's to report to.
// Positions the source and writes the destination's head: the start of every pass,
// and of the design reader's walk over a source.
void StartPass(ConversionRun& run);

int16_t ConvertStitchFileReporting(SharedRecord& shared, int16_t& sourceType, int16_t& destType,
                                   const std::string& sourceFile, const std::string& destFile,
                                   std::string& resolvedSource,
                                   std::shared_ptr<Progress> progress);

}  // namespace tavlin
