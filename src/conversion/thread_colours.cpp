#include "conversion/thread_colours.h"

#include <algorithm>
#include <charconv>
#include <optional>

#include "conversion/format_table.h"
#include "conversion/numbers.h"
#include "platform/files.h"
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

namespace {

// A QEP or VST source gives at most this many of its triples, whatever the destination.
constexpr int kMostSourceTriples = 128;

// A PCS stream's colours beyond the list's slots are a subscript failure.
constexpr int kColourListSlots = 129;

// Up to n bytes from an offset: fewer where the file ends, none from outside it.
std::string ReadAt(BufferedFile& file, int64_t at, size_t n) {
  const int64_t length = file.Length();
  if (at < 0 || at >= length) return {};
  n = static_cast<size_t>(std::min<int64_t>(static_cast<int64_t>(n), length - at));
  std::string bytes(n, '\0');
  file.Seek(at);
  bytes.resize(file.Read(reinterpret_cast<uint8_t*>(bytes.data()), n));
  return bytes;
}

// The byte at an offset, or -1 outside the file.
int FileByte(BufferedFile& file, int64_t at) {
  const std::string byte = ReadAt(file, at, 1);
  return byte.empty() ? -1 : ByteAt(byte, 0);
}

// The whole records of `width` bytes the file holds from `at`, at most `count` of them.
std::vector<std::string> RecordsAt(BufferedFile& file, int64_t at, int count, size_t width) {
  std::vector<std::string> records;
  if (count <= 0) return records;
  const std::string block = ReadAt(file, at, static_cast<size_t>(count) * width);
  for (size_t from = 0; from + width <= block.size(); from += width) {
    records.push_back(block.substr(from, width));
  }
  return records;
}

ThreadColour Triple(const std::string& bytes, size_t at) {
  return {ByteAt(bytes, at), ByteAt(bytes, at + 1), ByteAt(bytes, at + 2), -1};
}

// A key's colour; the keys given here have been replaced into range first.
ThreadColour FromPalette(const Palette& palette, int key) {
  const PaletteEntry* entry = FindKey(palette, key);
  if (entry == nullptr) throw RunTimeError(kInvalidCall);
  return {entry->red, entry->green, entry->blue, key};
}

// One key a record: the record's byte at `keyAt`, made a key and put in range.
template <typename ToKey>
std::vector<ThreadColour> Keyed(BufferedFile& file, int64_t at, int count, size_t width,
                                size_t keyAt, const Palette& palette, ToKey toKey) {
  std::vector<ThreadColour> threads;
  for (const std::string& record : RecordsAt(file, at, count, width)) {
    threads.push_back(FromPalette(palette, toKey(ByteAt(record, keyAt))));
  }
  return threads;
}

std::vector<ThreadColour> ReadTriples(BufferedFile& source, const ThreadTableAt& at) {
  const std::string count = ReadAt(source, at.count, 2);
  if (count.size() < 2) return {};
  const int threads = std::min<int>(Bytes2ToInt(count), kMostSourceTriples);
  std::vector<ThreadColour> colours;
  for (const std::string& triple : RecordsAt(source, at.table, threads, 3)) {
    colours.push_back(Triple(triple, 0));
  }
  return colours;
}

// A count of one byte, then four-byte records behind the stitches, where the length
// field at 252 points (less 6); as many as the greater of the capped count and the
// colours of the stream, since the trailer holds one for each colour change.
std::vector<ThreadColour> ReadXxx(BufferedFile& source, int colourIndex, int capCount) {
  const int count = FileByte(source, 39);
  const std::string end = ReadAt(source, 252, 4);
  if (count < 0 || end.size() < 4) return {};
  const int32_t endAt = Bytes4ToInt(end);
  const int records = std::max(std::min(count, capCount), colourIndex);
  std::vector<ThreadColour> threads;
  for (const std::string& record : RecordsAt(source, int64_t{endAt} + 6, records, 4)) {
    threads.push_back(Triple(record, 1));
  }
  return threads;
}

// The numbers of a text file, separated by commas, blanks or line ends.
class NumberReader {
 public:
  explicit NumberReader(BufferedFile& file) : file_(file) {}

  // The next number; nothing at the end of the file, or where the next text isn't a
  // whole number.
  std::optional<long> Next() {
    std::string text;
    uint8_t c = 0;
    while (file_.Read(&c, 1) == 1) {
      const bool separator = c == ',' || c == ' ' || c == '\t' || c == '\r' || c == '\n';
      if (separator && !text.empty()) break;
      if (separator) continue;
      if (text.size() == kLongestNumber) return std::nullopt;
      text += static_cast<char>(c);
    }
    if (text.empty()) return std::nullopt;
    const char* first = text.data() + (text[0] == '+' ? 1 : 0);
    long value = 0;
    const auto [end, error] = std::from_chars(first, text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
    return value;
  }

 private:
  static constexpr size_t kLongestNumber = 16;
  BufferedFile& file_;
};

// The name of an EMD's companion: its last three characters become "COL". A host that
// tells cases apart may hold it as "col".
std::string CompanionOf(PlatformState& platform, const std::string& name) {
  if (name.size() < 3) return {};
  const std::string stem = name.substr(0, name.size() - 3);
  for (const char* end : {"COL", "col"}) {
    if (FileExists(platform, stem + end)) return stem + end;
  }
  return {};
}

// The COL file: the count, then four numbers a thread of which the last three are red,
// green and blue. A file that ends early, or holds other than numbers of a byte where a
// colour should be, gives nothing.
std::vector<ThreadColour> ReadEmdCompanion(PlatformState& platform, const std::string& name,
                                           int capCount) {
  const std::string path = CompanionOf(platform, name);
  if (path.empty()) return {};
  BufferedFile file(OpenFile(platform, path));
  NumberReader numbers(file);
  const std::optional<long> count = numbers.Next();
  if (!count || *count <= 0) return {};
  const long threads = std::min<long>(*count, capCount);
  std::vector<ThreadColour> colours;
  for (long i = 0; i < threads; ++i) {
    long rgb[4] = {};
    for (long& value : rgb) {
      const std::optional<long> number = numbers.Next();
      if (!number) return {};
      value = *number;
    }
    for (int c = 1; c < 4; ++c) {
      if (rgb[c] < 0 || rgb[c] > 255) return {};
    }
    colours.push_back({static_cast<uint8_t>(rgb[1]), static_cast<uint8_t>(rgb[2]),
                       static_cast<uint8_t>(rgb[3]), -1});
  }
  return colours;
}

// The palette keys of JEF and SEW, 1 to 78; any other is taken as 1.
int JefKey(int byte) { return byte >= 1 && byte <= 78 ? byte : 1; }

// The PEC block's colour count less 1 at its offset 48, and one PES key a byte behind
// it; a byte out of 1 to 94 is black, key 20.
std::vector<ThreadColour> ReadPecKeys(BufferedFile& source, int capCount) {
  const std::string at = ReadAt(source, 8, 4);
  if (at.size() < 4) return {};
  const int64_t pec = static_cast<uint32_t>(Bytes4ToInt(at));
  const int count = FileByte(source, pec + 48);
  if (count < 0) return {};
  return Keyed(source, pec + 49, std::min(count + 1, capCount), 1, 0, PesPalette(),
               [](int byte) { return byte >= 1 && byte <= 94 ? byte : 20; });
}

// The table entry each colour of a PCS stream picks, from its colour records as the
// stream gives them: the record ahead of the first stitch and each record of flag 3.
std::array<int16_t, kColourListSlots> PcsColourRecords(BufferedFile& source, int colourIndex) {
  std::array<int16_t, kColourListSlots> list{};
  const std::string entries = ReadAt(source, 2, 2);
  if (entries.size() < 2) return list;
  const int64_t expectedAt = 4 * int64_t{Bytes2ToInt(entries)} + 4;
  const std::string expected = ReadAt(source, expectedAt, 2);
  if (expected.size() < 2) return list;
  const int stitches = Bytes2ToInt(expected);
  int64_t at = expectedAt + 2;
  int colours = 0, decoded = 0;
  const int wanted = std::min(colourIndex, kColourListSlots - 1);
  for (std::string record; colours < wanted; at += 9) {
    record = ReadAt(source, at, 9);
    if (record.size() < 9) break;
    if (colours == 0) {
      list[static_cast<size_t>(++colours)] = ByteAt(record, 0);
    } else if (decoded == stitches) {
      break;
    } else if (ByteAt(record, 8) == 3) {
      list[static_cast<size_t>(++colours)] = ByteAt(record, 0);
    } else {
      ++decoded;
    }
  }
  return list;
}

// The table of four-byte entries from offset 3 (0x00, red, green, blue), and a thread
// for each colour of the stream: the entry that colour picked. A pick beyond the table
// gives no thread.
std::vector<ThreadColour> ReadPcsTable(BufferedFile& source, int colourIndex,
                                       const std::array<int16_t, kColourListSlots>* colourList,
                                       int capCount) {
  const int count = FileByte(source, 2);
  if (count < 0) return {};
  const std::vector<std::string> table = RecordsAt(source, 3, std::min(count, capCount), 4);
  // Without the stream's list its records are read, as far as a list would hold them.
  if (colourList == nullptr) colourIndex = std::min(colourIndex, kColourListSlots - 1);
  const std::array<int16_t, kColourListSlots> picks =
      colourList != nullptr ? *colourList : PcsColourRecords(source, colourIndex);
  std::vector<ThreadColour> threads;
  for (int colour = 1; colour <= colourIndex; ++colour) {
    if (colour >= kColourListSlots) throw RunTimeError(kSubscriptOutOfRange);
    const int entry = picks[static_cast<size_t>(colour)];
    if (entry >= 0 && static_cast<size_t>(entry) < table.size()) {
      threads.push_back(Triple(table[static_cast<size_t>(entry)], 1));
    }
  }
  return threads;
}

// A HUS file: the count at 8, and from 41 two bytes a thread, the second the key less 1;
// a key above 29 is taken as 21.
std::vector<ThreadColour> ReadHusFile(PlatformState& platform, const std::string& path,
                                      int capCount) {
  if (path.empty() || !FileExists(platform, path)) return {};
  BufferedFile file(OpenFile(platform, path));
  const int count = FileByte(file, 8);
  if (count < 0) return {};
  return Keyed(file, 41, std::min(count, capCount), 2, 1, HusPalette(),
               [](int byte) { return byte + 1 < 30 ? byte + 1 : 21; });
}

std::vector<ThreadColour> ReadRow(ThreadSource row, const ThreadTableAt& tableAt,
                                  PlatformState& platform, BufferedFile& source,
                                  const std::string& sourcePath, int colourIndex,
                                  const std::array<int16_t, kColourListSlots>* colourList,
                                  int capCount) {
  switch (row) {
    case ThreadSource::None: return {};
    case ThreadSource::Triples: return ReadTriples(source, tableAt);
    case ThreadSource::Xxx: return ReadXxx(source, colourIndex, capCount);
    case ThreadSource::EmdColFile: return ReadEmdCompanion(platform, sourcePath, capCount);
    case ThreadSource::JefKeys:
      return Keyed(source, 116, std::min(FileByte(source, 24), capCount), 4, 0, JefPalette(), JefKey);
    case ThreadSource::SewKeys:
      return Keyed(source, 2, std::min(FileByte(source, 0), capCount), 2, 0, JefPalette(), JefKey);
    case ThreadSource::PecKeys: return ReadPecKeys(source, capCount);
    case ThreadSource::PcmKeys:
      return Keyed(source, 4, std::min(FileByte(source, 3), capCount), 2, 1, PcmPalette(),
                   [](int byte) { return byte <= 15 ? byte : 0; });
    case ThreadSource::PcsTable: return ReadPcsTable(source, colourIndex, colourList, capCount);
    case ThreadSource::HusFile: return ReadHusFile(platform, sourcePath, capCount);
  }
  return {};
}

std::string Trimmed(const std::string& text) {
  const size_t first = text.find_first_not_of(' ');
  if (first == std::string::npos) return {};
  return text.substr(first, text.find_last_not_of(' ') - first + 1);
}

// Where an EMD source's COL file lies: beside the disc file the last DOS read copied to
// the run's source. The class knows no other place; the library, converting a file of
// its own, looks beside that file.
std::string EmdCompanionName(const ConversionRun& run) {
  const ConversionSettings& settings = run.settings;
  if (!settings.LastDosReadName.empty() || !settings.AsOtherProgramsDo) {
    return settings.LastDosReadName;
  }
  return run.ResolvedSource;
}

}  // namespace

std::vector<ThreadColour> ReadThreadColours(PlatformState& platform, BufferedFile& source,
                                            const std::string& sourcePath, int16_t sourceType,
                                            int16_t colourIndex,
                                            const std::array<int16_t, 129>* colourList,
                                            int capCount) {
  const Codec& codec = CodecOf(sourceType);
  return ReadRow(codec.threadSource, codec.threadTable, platform, source, sourcePath,
                 colourIndex, colourList, capCount);
}

void WriteThreadColours(ConversionRun& run) {
  const ThreadTableAt& table = run.Dest->threadTable;
  if (!table.Present()) return;
  PlatformState& platform = run.settings.platform;
  std::vector<ThreadColour> threads;
  if (!Trimmed(run.settings.HusSourceName).empty()) {
    // The run's source is the DST the design-file service made of that HUS file.
    threads = ReadRow(ThreadSource::HusFile, {}, platform, run.source, run.settings.HusSourceName,
                      run.ColourIndex, &run.ColourList, table.capacity);
  } else if (run.Source->threadSource == ThreadSource::None) {
    // A source without threads of its own gets the PES colours in order, one a colour.
    // The class has no key past the palette's last and fails; the library starts the
    // palette again rather than refuse a design for colours it never had.
    const Palette palette = PesPalette();
    const int keys = static_cast<int>(palette.count);
    if (run.ColourIndex > keys && !run.settings.AsOtherProgramsDo) throw RunTimeError(kInvalidCall);
    for (int colour = 1; colour <= run.ColourIndex; ++colour) {
      threads.push_back(FromPalette(palette, (colour - 1) % keys + 1));
    }
  } else {
    const std::string path = run.Source->threadSource == ThreadSource::EmdColFile
                                 ? EmdCompanionName(run)
                                 : run.ResolvedSource;
    threads = ReadRow(run.Source->threadSource, run.Source->threadTable, platform, run.source,
                      path, run.ColourIndex, &run.ColourList, table.capacity);
  }
  // The class writes an XXX's records for every colour even past the table's end, over
  // the stitches behind it; the library keeps the design.
  if (run.settings.AsOtherProgramsDo && threads.size() > static_cast<size_t>(table.capacity)) {
    threads.resize(static_cast<size_t>(table.capacity));
  }
  std::string bytes;
  for (const ThreadColour& thread : threads) {
    bytes += static_cast<char>(thread.red);
    bytes += static_cast<char>(thread.green);
    bytes += static_cast<char>(thread.blue);
  }
  run.dest.Seek(table.table);
  run.WriteBytes(bytes);
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
