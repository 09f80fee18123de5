#include "conversion/drawn_trims.h"

#include <string>

#include "conversion/format_table.h"

namespace tavlin {

void InsertDrawnTrim(ConversionRun& run) {
  const DrawnTrim& trim = run.Dest->drawnTrim;
  if (trim.record.empty()) return;
  const auto back = static_cast<int64_t>(trim.back);
  const int64_t at = run.dest.Position() - back;
  if (at < 0) return;
  std::string jumps(static_cast<size_t>(back), '\0');
  run.dest.Seek(at);
  if (run.dest.Read(reinterpret_cast<uint8_t*>(jumps.data()), jumps.size()) != jumps.size()) {
    return;
  }
  run.dest.Seek(at);
  run.WriteBytes(trim.record);
  run.WriteBytes(jumps);
}

}  // namespace tavlin
