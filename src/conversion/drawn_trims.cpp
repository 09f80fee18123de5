#include "conversion/drawn_trims.h"

#include <string>

#include "conversion/format_table.h"

namespace tavlin {

void InsertDrawnTrim(ConversionRun& run) {
  const FormatRow* row = FindFormatRow(run.DestType);
  if (row == nullptr || row->drawnTrim.empty()) return;
  const auto back = static_cast<int64_t>(row->drawnTrimBack);
  const int64_t at = run.dest.Position() - back;
  if (at < 0) return;
  std::string jumps(static_cast<size_t>(back), '\0');
  run.dest.Seek(at);
  if (run.dest.Read(reinterpret_cast<uint8_t*>(jumps.data()), jumps.size()) != jumps.size()) {
    return;
  }
  run.dest.Seek(at);
  run.WriteBytes(row->drawnTrim);
  run.WriteBytes(jumps);
}

}  // namespace tavlin
