// HUS and VIP: a head with the record count, colour count, extents and the offsets of
// three compressed streams (commands, X steps, Y steps: one byte each per record, Y up),
// then the streams. HUS stores a palette index per colour behind the head; VIP has a
// head of its own there and is read only. Records are decoded from the three streams
// side by side, so only the compressed bytes and three 1 KB windows are held.
#include <algorithm>
#include <memory>
#include <vector>

#include "compression/lzh_blocks.h"
#include "conversion/convert.h"
#include "conversion/formats/formats.h"
#include "conversion/formats/viking_reading.h"
#include "conversion/numbers.h"
#include "conversion/thread_colours.h"
#include "platform/run_time_error.h"
#include "tables/palettes.h"

namespace tavlin {

namespace {

constexpr uint8_t kHusStitch = 0x80;
constexpr uint8_t kHusJump = 0x81;
constexpr uint8_t kHusColour = 0x84;
constexpr uint8_t kHusTrim = 0x88;
constexpr uint8_t kHusEnd = 0x90;
constexpr uint8_t kJumpBit = 0x01, kColourBit = 0x04, kTrimBit = 0x08, kEndBit = 0x10;

constexpr int64_t kHeadBytes = 42;      // the colour indexes follow, two bytes each
constexpr int kStreamAt[3] = {20, 24, 28};
// A record takes at least a bit in a stream the maker's or our writer makes: a count
// far past what the streams could hold is damage, and would only make a reader spin.
constexpr uint64_t kMostRecordsPerByte = 4096;

uint32_t Le32(const uint8_t* b) {
  return uint32_t{b[0]} | uint32_t{b[1]} << 8 | uint32_t{b[2]} << 16 | uint32_t{b[3]} << 24;
}
int16_t Le16(const uint8_t* b) { return static_cast<int16_t>(b[0] | b[1] << 8); }

[[noreturn]] void Damaged() { throw RunTimeError(kResultDamagedFile); }

// The head's extents and colour count, for the destinations that need them first.
DesignSize ScanHusSize(BufferedFile& source) {
  uint8_t head[20] = {};
  source.Seek(0);
  DesignSize size;
  if (source.Read(head, sizeof head) == sizeof head) {
    size.PlusX = static_cast<int16_t>(std::abs(Le16(head + 12)));
    size.PlusY = static_cast<int16_t>(std::abs(Le16(head + 14)));
    size.MinusX = static_cast<int16_t>(std::abs(Le16(head + 16)));
    size.MinusY = static_cast<int16_t>(std::abs(Le16(head + 18)));
    size.DesignWidth = static_cast<int16_t>(std::min(32767, size.PlusX + size.MinusX));
    size.DesignHeight = static_cast<int16_t>(std::min(32767, size.PlusY + size.MinusY));
    size.DesignColours = static_cast<int16_t>(std::clamp<uint32_t>(Le32(head + 8), 0, 32767));
  }
  source.Seek(0);
  return size;
}

// Checks the head against the file and loads the three compressed streams, each up to
// the next stream or the end of the file.
void OpenHus(ConversionRun& run) {
  auto reading = std::make_shared<HusReading>();
  const int64_t length = run.source.Length();
  uint8_t head[32] = {};
  run.source.Seek(0);
  if (run.source.Read(head, sizeof head) != sizeof head) Damaged();
  if (!((head[0] == 0x5D && head[1] == 0xFC) || (head[0] == 0x5B && head[1] == 0xAF))) Damaged();
  reading->records = Le32(head + 4);
  int64_t at[3];
  for (int s = 0; s < 3; ++s) {
    at[s] = Le32(head + kStreamAt[s]);
    if (at[s] < 32 || at[s] > length) Damaged();
  }
  for (int s = 0; s < 3; ++s) {
    int64_t end = length;
    for (int o = 0; o < 3; ++o) {
      if (at[o] > at[s]) end = std::min(end, at[o]);
    }
    const auto bytes = static_cast<size_t>(end - at[s]);
    if (reading->records > kMostRecordsPerByte * (bytes + 1)) Damaged();
    reading->packed[s].resize(bytes);
    run.source.Seek(at[s]);
    if (run.source.Read(reading->packed[s].data(), bytes) != bytes) Damaged();
  }
  for (auto& packed : reading->packed) reading->streams.emplace_back(packed);
  run.Hus = std::move(reading);
}

Decoded DecodeHus(ConversionRun& run) {
  HusReading& reading = *run.Hus;
  if (reading.read == reading.records) return Decoded::End;
  ++reading.read;
  uint8_t command = 0, x = 0, y = 0;
  try {
    command = reading.streams[0].Next();
    x = reading.streams[1].Next();
    y = reading.streams[2].Next();
  } catch (const DamagedStream&) {
    Damaged();
  }
  if ((command & kEndBit) != 0) return Decoded::End;
  run.step.StepX = static_cast<int8_t>(x);
  run.step.StepY = static_cast<int8_t>(y);
  if ((command & kColourBit) != 0) {
    run.step.StepKind = KindColour;
    run.NextColour();
  } else if ((command & kTrimBit) != 0) {
    run.step.StepKind = KindTrim;
    run.TrimPending = true;
  } else if ((command & kJumpBit) != 0) {
    run.step.StepKind = KindJump;
  } else {
    run.step.StepKind = KindStitch;
  }
  return Decoded::Step;
}

void StartHus(ConversionRun& run) {
  run.HusOut = std::make_shared<HusWriting>();
}

void PutHusRecord(HusWriting& out, uint8_t command, int x, int y) {
  out.commands.push_back(command);
  out.xs.push_back(static_cast<uint8_t>(static_cast<int8_t>(x)));
  out.ys.push_back(static_cast<uint8_t>(static_cast<int8_t>(y)));
  out.x += x;
  out.y += y;
  out.maxX = std::max(out.maxX, out.x);
  out.maxY = std::max(out.maxY, out.y);
  out.minX = std::min(out.minX, out.x);
  out.minY = std::min(out.minY, out.y);
}

void EncodeHus(ConversionRun& run) {
  HusWriting& out = *run.HusOut;
  const int16_t kind = run.step.StepKind;
  uint8_t command = kHusStitch;
  if (ChangesColourKind(kind)) {
    command = kHusColour;
  } else if (kind == KindTrim) {
    command = kHusTrim;
  } else if (kind == KindJump) {
    command = kHusJump;
  }
  if (run.TrimPending && kind != KindTrim) {
    PutHusRecord(out, kHusTrim, 0, 0);
  }
  run.TrimPending = false;
  // A step beyond a signed byte goes as equal parts of its own kind, the last carrying
  // the command.
  int x = run.step.StepX, y = run.step.StepY;
  const int parts = std::max((std::abs(x) + 126) / 127, (std::abs(y) + 126) / 127);
  for (int part = 1; part < parts; ++part) {
    const int px = x / (parts - part + 1), py = y / (parts - part + 1);
    PutHusRecord(out, command == kHusColour || command == kHusTrim ? kHusJump : command, px, py);
    x -= px;
    y -= py;
  }
  PutHusRecord(out, command, x, y);
}

void PutLe32(std::string& bytes, size_t at, uint32_t value) {
  for (int i = 0; i < 4; ++i) bytes[at + static_cast<size_t>(i)] = static_cast<char>(value >> (8 * i));
}
void PutLe16(std::string& bytes, size_t at, int32_t value) {
  bytes[at] = static_cast<char>(value & 0xFF);
  bytes[at + 1] = static_cast<char>((value >> 8) & 0xFF);
}

// The palette index of each colour: the nearest to the thread the source stores, or the
// palette in order for a source that stores none.
std::vector<int> HusIndexes(ConversionRun& run, int colours) {
  std::vector<ThreadColour> threads;
  const std::string threadsOf = !run.settings.HusSourceName.empty() ? run.settings.HusSourceName
                                                                     : run.ResolvedSource;
  const int16_t sourceType = !run.settings.HusSourceName.empty() ? int16_t{kCodeHus} : run.SourceType;
  try {
    threads = ReadThreadColours(run.settings.platform, run.source, threadsOf, sourceType, run.ColourIndex);
  } catch (const RunTimeError&) {
    threads.clear();
  }
  std::vector<int> indexes;
  const int keys = static_cast<int>(HusPalette().count);
  for (int colour = 0; colour < colours; ++colour) {
    if (static_cast<size_t>(colour) < threads.size()) {
      const ThreadColour& t = threads[static_cast<size_t>(colour)];
      indexes.push_back(MatchHusColour(t.red, t.green, t.blue));
    } else {
      indexes.push_back(colour % keys);
    }
  }
  return indexes;
}

void EndHus(ConversionRun& run) {
  // The whole file is written here: a run that wrote no head has an empty design.
  if (!run.HusOut) StartHus(run);
  HusWriting& out = *run.HusOut;
  PutHusRecord(out, kHusEnd, 0, 0);
  // A colour change ahead of the end adds no thread the design sews.
  int colours = 1;
  for (size_t i = 0; i + 1 < out.commands.size(); ++i) colours += out.commands[i] == kHusColour ? 1 : 0;
  const std::vector<int> indexes = HusIndexes(run, colours);
  std::vector<uint8_t> packed[3] = {LzhCompress(out.commands), LzhCompress(out.xs), LzhCompress(out.ys)};
  std::string head(static_cast<size_t>(kHeadBytes) + 2 * indexes.size(), '\0');
  head[0] = '\x5D';
  head[1] = '\xFC';
  PutLe16(head, 2, 200);
  PutLe32(head, 4, static_cast<uint32_t>(out.commands.size()));
  PutLe32(head, 8, static_cast<uint32_t>(colours));
  for (int32_t v : {out.maxX, out.maxY, out.minX, out.minY}) {
    if (v < INT16_MIN || v > INT16_MAX) throw RunTimeError(kResultOutOfRange);
  }
  PutLe16(head, 12, out.maxX);
  PutLe16(head, 14, out.maxY);
  PutLe16(head, 16, out.minX);
  PutLe16(head, 18, out.minY);
  uint32_t at = static_cast<uint32_t>(head.size());
  for (int s = 0; s < 3; ++s) {
    PutLe32(head, static_cast<size_t>(kStreamAt[s]), at);
    at += static_cast<uint32_t>(packed[s].size());
  }
  std::string name = FileNameOf(run.DesignName);
  name = name.substr(0, std::min(name.rfind('.'), size_t{8}));
  head.replace(32, name.size(), name);
  for (size_t i = 0; i < indexes.size(); ++i) PutLe16(head, kHeadBytes + 2 * i, indexes[i]);
  run.dest.Seek(0);
  run.WriteBytes(head);
  for (const auto& stream : packed) run.WriteBytes(stream.data(), stream.size());
}

}  // namespace

const Codec kHusCodec = {
    .code = kCodeHus,
    .fileEnd = "HUS",
    .extension = ".HUS",
    .family = "Husqvarna Viking",
    .decode = DecodeHus,
    .encode = EncodeHus,
    .openSource = OpenHus,
    .writeHead = StartHus,
    .writeEnd = EndHus,
    .namesDesign = true,
    .designService = true,
    .threadBytes = true,
    .palette = ThreadPalette::Hus,
    .scanSize = ScanHusSize,
    .threadSource = ThreadSource::HusFile,
    .writesTrims = true,
};

// The class's names refuse VIP; the library reads it as the HUS it shares its streams
// with. Its threads stand in a block of its own that is not read here.
const Codec kVipCodec = {
    .code = kCodeVip,
    .fileEnd = "VIP",
    .extension = ".VIP",
    .family = "Husqvarna Viking",
    .decode = DecodeHus,
    .openSource = OpenHus,
    .scanSize = ScanHusSize,
    .libraryOnly = true,
};

}  // namespace tavlin
