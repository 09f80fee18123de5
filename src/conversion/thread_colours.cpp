#include "conversion/thread_colours.h"

#include "conversion/format_table.h"
#include "conversion/numbers.h"
#include "platform/run_time_error.h"
#include "tables/palettes.h"

namespace tavlin {

std::string ReadThreadTable(BufferedFile& source, int16_t sourceType) {
  const ThreadTableAt at = CodecOf(sourceType).threadTable;
  if (!at.Present()) return {};
  uint8_t count[2] = {0, 0};
  source.Seek(at.count);
  source.Read(count, 2);
  const int threads = static_cast<int16_t>(count[0] | (count[1] << 8));
  if (threads <= 0) return {};
  std::string table(static_cast<size_t>(threads) * 3, '\0');
  source.Seek(at.table);
  // A short source reads as far as it goes; the rest stays zero.
  source.Read(reinterpret_cast<uint8_t*>(table.data()), table.size());
  return table;
}

std::vector<ThreadColour> ReadThreadColours(PlatformState& /*platform*/, BufferedFile& source,
                                            const std::string& /*sourcePath*/, int16_t sourceType,
                                            int16_t /*colourIndex*/) {
  std::vector<ThreadColour> threads;
  if (CodecOf(sourceType).threadSource != ThreadSource::Triples) return threads;
  const std::string table = ReadThreadTable(source, sourceType);
  for (size_t at = 0; at + 3 <= table.size(); at += 3) {
    threads.push_back({ByteAt(table, at), ByteAt(table, at + 1), ByteAt(table, at + 2), -1});
  }
  return threads;
}

std::string ChooseThreadPalette(int16_t sourceType, int16_t destType, BufferedFile& source) {
  const std::string table = ReadThreadTable(source, sourceType);
  std::string indexes;
  for (size_t at = 0; at + 3 <= table.size(); at += 3) {
    const int r = ByteAt(table, at), g = ByteAt(table, at + 1), b = ByteAt(table, at + 2);
    int index = 0;
    switch (CodecOf(destType).palette) {
      case ThreadPalette::Jef: index = MatchJefColour(r, g, b); break;
      case ThreadPalette::Pcm: index = MatchPcmColour(r, g, b); break;
      case ThreadPalette::Hus: index = MatchHusColour(r, g, b); break;
      case ThreadPalette::Pes: index = MatchPesColour(r, g, b); break;
    }
    indexes += static_cast<char>(index);
  }
  return indexes;
}

std::string BuildUniqueColours(int16_t sourceType, BufferedFile& source,
                               std::array<int16_t, 129>& colourList) {
  const ThreadTableAt tableAt = CodecOf(sourceType).threadTable;
  if (!tableAt.Present()) return {};
  const std::string table = ReadThreadTable(source, sourceType);
  if (table.size() / 3 > colourList.size()) throw RunTimeError(kSubscriptOutOfRange);
  std::string unique;
  int16_t count = 0;
  for (size_t thread = 0; thread < table.size() / 3; ++thread) {
    const std::string triple = table.substr(thread * 3, 3);
    size_t found = std::string::npos;
    for (size_t at = 0; at < unique.size(); at += 4) {
      if (unique.compare(at + 1, 3, triple) == 0) {
        found = at / 4;
        break;
      }
    }
    if (found != std::string::npos) {
      colourList[thread] = static_cast<int16_t>(found);
    } else {
      // The first sixteen distinct colours get their own place; later ones share 0.
      colourList[thread] = count < 16 ? count : int16_t{0};
      ++count;
      unique += '\0' + triple;
    }
  }
  source.Seek(tableAt.resume);
  return unique;
}

}  // namespace tavlin
