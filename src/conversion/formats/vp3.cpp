// VP3: big-endian, not compressed. "%vsm%", the producer's text (UTF-16), the design's
// head with its extents (micrometres), a second head that ends in "xxPP", then the colour
// count and one block a colour: where its needle starts (micrometres, Y up), its thread
// (RGB, catalogue number, name, maker as texts), and its stitch bytes: pairs of signed
// bytes (X, Y down), or 0x80 and a code: 1 a jump of two words, 3 a trim, 2 the end
// of a jump.
#include <algorithm>
#include <cstring>
#include <memory>

#include "conversion/convert.h"
#include "conversion/formats/formats.h"
#include "conversion/formats/viking_reading.h"
#include "conversion/thread_colours.h"
#include "tables/palettes.h"
#include "platform/run_time_error.h"

namespace tavlin {

namespace {

constexpr uint8_t kEscape = 0x80;
constexpr uint8_t kVp3Jump = 0x01;
constexpr uint8_t kVp3Trim = 0x03;
constexpr int64_t kStitchLeadBytes = 3;  // ahead of each block's stitch pairs
// From the block's thread count to its first text: the count, a zero, RGB, five bytes.
constexpr int64_t kThreadBytes = 10;
// Between the thread's texts and the length of the stitch bytes.
constexpr int64_t kBeforeStitchBytes = 11;
constexpr int64_t kMostHeadSearch = 4096;

[[noreturn]] void Damaged() { throw RunTimeError(kResultDamagedFile); }

void Take(BufferedFile& file, uint8_t* out, size_t n) {
  if (file.Read(out, n) != n) Damaged();
}
uint32_t Be32(const uint8_t* b) {
  return uint32_t{b[0]} << 24 | uint32_t{b[1]} << 16 | uint32_t{b[2]} << 8 | uint32_t{b[3]};
}
int16_t Be16(const uint8_t* b) { return static_cast<int16_t>(b[0] << 8 | b[1]); }
uint16_t TakeU16(BufferedFile& file) {
  uint8_t b[2];
  Take(file, b, 2);
  return static_cast<uint16_t>(b[0] << 8 | b[1]);
}
uint32_t TakeU32(BufferedFile& file) {
  uint8_t b[4];
  Take(file, b, 4);
  return Be32(b);
}
void SkipText(BufferedFile& file) {
  const uint16_t n = TakeU16(file);
  if (file.Position() + n > file.Length()) Damaged();
  file.Seek(file.Position() + n);
}
// Micrometres to 0.1 mm, rounded.
int32_t Units(uint32_t micrometres) {
  const auto v = static_cast<int32_t>(micrometres);
  return v >= 0 ? (v + 50) / 100 : -((-v + 50) / 100);
}

// Leaves the file at the colour count behind the second head.
void FindColours(BufferedFile& file) {
  uint8_t mark[5];
  file.Seek(0);
  Take(file, mark, 5);
  if (std::memcmp(mark, "%vsm%", 5) != 0) Damaged();
  file.Seek(6);
  SkipText(file);
  const int64_t from = file.Position();
  std::vector<uint8_t> area(static_cast<size_t>(std::min<int64_t>(kMostHeadSearch, file.Length() - from)));
  Take(file, area.data(), area.size());
  for (size_t at = 0; at + 6 <= area.size(); ++at) {
    if (std::memcmp(area.data() + at, "xxPP\x01\x00", 6) == 0) {
      file.Seek(from + static_cast<int64_t>(at) + 6);
      SkipText(file);
      return;
    }
  }
  Damaged();
}

DesignSize ScanVp3Size(BufferedFile& source) {
  DesignSize size;
  try {
    source.Seek(6);
    SkipText(source);
    uint8_t head[25];
    Take(source, head, sizeof head);
    const int64_t afterComment = 7 + Be16(head + 7);  // the head's own text
    source.Seek(source.Position() - static_cast<int64_t>(sizeof head) + afterComment);
    uint8_t extents[22];
    Take(source, extents, sizeof extents);
    size.PlusX = static_cast<int16_t>(std::clamp(Units(Be32(extents)), 0, 32767));
    size.PlusY = static_cast<int16_t>(std::clamp(Units(Be32(extents + 4)), 0, 32767));
    size.MinusX = static_cast<int16_t>(std::clamp(-Units(Be32(extents + 8)), 0, 32767));
    size.MinusY = static_cast<int16_t>(std::clamp(-Units(Be32(extents + 12)), 0, 32767));
    size.DesignColours = Be16(extents + 20);
    size.DesignWidth = static_cast<int16_t>(std::min(32767, size.PlusX + size.MinusX));
    size.DesignHeight = static_cast<int16_t>(std::min(32767, size.PlusY + size.MinusY));
  } catch (const RunTimeError&) {
    size = DesignSize{};
  }
  source.Seek(0);
  return size;
}

void OpenVp3(ConversionRun& run) {
  auto reading = std::make_shared<HusReading>();
  BufferedFile& file = run.source;
  FindColours(file);
  const uint16_t colours = TakeU16(file);
  for (uint16_t c = 0; c < colours; ++c) {
    uint8_t head[15];
    Take(file, head, sizeof head);
    const int64_t end = file.Position() - 8 + Be32(head + 3);
    if (end > file.Length()) Damaged();
    HusReading::Vp3Block block;
    block.x = Units(Be32(head + 7));
    block.y = Units(Be32(head + 11));
    file.Seek(file.Position() + kThreadBytes);
    for (int text = 0; text < 3; ++text) SkipText(file);
    file.Seek(file.Position() + kBeforeStitchBytes);
    const uint32_t bytes = TakeU32(file);
    block.from = file.Position() + kStitchLeadBytes;
    block.to = file.Position() + bytes;
    if (block.to > end || block.from > block.to) Damaged();
    reading->blocks.push_back(block);
    file.Seek(end);
  }
  run.Hus = std::move(reading);
}

Decoded DecodeVp3(ConversionRun& run) {
  HusReading& r = *run.Hus;
  BufferedFile& file = run.source;
  while (r.block < r.blocks.size() && r.blockStarted && file.Position() + 2 > r.blocks[r.block].to) {
    ++r.block;
    r.blockStarted = false;
  }
  if (r.block >= r.blocks.size()) return Decoded::End;
  if (!r.blockStarted) {
    // Each block starts where its head says: the first with a jump there, the others
    // with the colour change that takes the needle there.
    const HusReading::Vp3Block& block = r.blocks[r.block];
    r.blockStarted = true;
    file.Seek(block.from);
    const int32_t dx = block.x - r.x, dy = block.y - r.y;
    if (dx < INT16_MIN || dx > INT16_MAX || dy < INT16_MIN || dy > INT16_MAX) throw RunTimeError(kOverflow);
    r.x = block.x;
    r.y = block.y;
    run.step.StepX = static_cast<int16_t>(dx);
    run.step.StepY = static_cast<int16_t>(dy);
    if (r.block > 0) {
      run.step.StepKind = KindColour;
      run.NextColour();
      return Decoded::Step;
    }
    if (dx == 0 && dy == 0) return Decoded::NoStep;
    run.step.StepKind = KindJump;
    return Decoded::Step;
  }
  uint8_t pair[2];
  if (!run.ReadRecord(pair, 2)) return Decoded::End;
  int32_t x = 0, y = 0;
  if (pair[0] == kEscape) {
    if (pair[1] == kVp3Jump) {
      uint8_t move[4];
      if (!run.ReadRecord(move, 4)) return Decoded::End;
      x = Be16(move);
      y = -Be16(move + 2);
      if (y > INT16_MAX) throw RunTimeError(kOverflow);
      run.step.StepKind = KindJump;
    } else if (pair[1] == kVp3Trim) {
      run.step.StepKind = KindTrim;
      run.TrimPending = true;
    } else {
      return Decoded::NoStep;
    }
  } else {
    x = static_cast<int8_t>(pair[0]);
    y = -static_cast<int8_t>(pair[1]);
    run.step.StepKind = KindStitch;
  }
  r.x += x;
  r.y += y;
  run.step.StepX = static_cast<int16_t>(x);
  run.step.StepY = static_cast<int16_t>(y);
  return Decoded::Step;
}

void PutBe16(std::string& out, int32_t v) {
  out += static_cast<char>((v >> 8) & 0xFF);
  out += static_cast<char>(v & 0xFF);
}
void PutBe32(std::string& out, int64_t v) {
  for (int shift = 24; shift >= 0; shift -= 8) out += static_cast<char>((v >> shift) & 0xFF);
}
void PutText(std::string& out, std::string_view text) {
  PutBe16(out, static_cast<int32_t>(text.size()));
  out += text;
}
void PutWideText(std::string& out, std::string_view text) {
  PutBe16(out, static_cast<int32_t>(2 * text.size()));
  for (char c : text) {
    out += '\0';
    out += c;
  }
}

}  // namespace

namespace {

void StartVp3(ConversionRun& run) { run.HusOut = std::make_shared<HusWriting>(); }

void Move(HusWriting& out, int32_t dx, int32_t dy) {
  out.x += dx;
  out.y += dy;
  out.maxX = std::max(out.maxX, out.x);
  out.maxY = std::max(out.maxY, out.y);
  out.minX = std::min(out.minX, out.x);
  out.minY = std::min(out.minY, out.y);
}

void EncodeVp3(ConversionRun& run) {
  HusWriting& out = *run.HusOut;
  const int16_t kind = run.step.StepKind;
  const int32_t dx = run.step.StepX, dy = run.step.StepY;
  std::string& bytes = out.colours.back().bytes;
  if (run.TrimPending || kind == KindTrim) {
    bytes += "\x80\x03";
    run.TrimPending = false;
  }
  if (ChangesColourKind(kind)) {
    // A new block starts where the move leaves the needle.
    Move(out, dx, dy);
    out.colours.push_back({out.x, out.y, {}});
    return;
  }
  if (kind == KindJump || kind == KindTrim || dx < -127 || dx > 127 || dy < -127 || dy > 127) {
    if (dx == 0 && dy == 0) return;
    bytes += "\x80\x01";
    PutBe16(bytes, dx);
    PutBe16(bytes, -dy);
    bytes += "\x80\x02";
    Move(out, dx, dy);
    if (kind != KindStitch) return;
    // A long stitch: the needle goes down where the jump ends.
    bytes += std::string(2, '\0');
  } else {
    bytes += static_cast<char>(static_cast<int8_t>(dx));
    bytes += static_cast<char>(static_cast<int8_t>(-dy));
    Move(out, dx, dy);
  }
  ++out.stitches;
}

void EndVp3(ConversionRun& run) {
  // The whole file is written here: a run that wrote no head has an empty design.
  if (!run.HusOut) StartVp3(run);
  HusWriting& out = *run.HusOut;
  // A colour change at the very end adds no block.
  if (out.colours.size() > 1 && out.colours.back().bytes.empty()) out.colours.pop_back();
  std::vector<ThreadColour> threads;
  try {
    threads = ReadThreadColours(run.settings.platform, run.source, run.ResolvedSource, run.SourceType,
                                run.ColourIndex);
  } catch (const RunTimeError&) {
    threads.clear();
  }
  const Palette palette = PesPalette();
  constexpr std::string_view kProducer = "Produced by Tavlin";
  const int64_t micrometres = 100;  // in 0.1 mm, the unit of a step
  std::string blocks;
  PutBe16(blocks, static_cast<int32_t>(out.colours.size()));
  for (size_t c = 0; c < out.colours.size(); ++c) {
    const HusWriting::Vp3Colour& colour = out.colours[c];
    ThreadColour thread;
    if (c < threads.size()) {
      thread = threads[c];
    } else {
      // A source without threads: the PES palette in order.
      const PaletteEntry& entry = palette.entries[c % palette.count];
      thread = {entry.red, entry.green, entry.blue, entry.key};
    }
    std::string block;
    PutBe32(block, colour.x * micrometres);
    PutBe32(block, colour.y * micrometres);
    block += '\x01';
    block += '\0';
    block += static_cast<char>(thread.red);
    block += static_cast<char>(thread.green);
    block += static_cast<char>(thread.blue);
    block += std::string("\0\0\0\x05\x28", 5);
    PutText(block, thread.paletteKey >= 0 ? std::to_string(thread.paletteKey) : std::string());
    PutText(block, "");
    PutText(block, "");
    block += std::string("\0\0\x01\x90\0\0\x01\x90\0\x01\0", 11);
    PutBe32(block, static_cast<int64_t>(colour.bytes.size()) + kStitchLeadBytes);
    block += std::string("\x0A\xF6\0", 3);
    block += colour.bytes;
    block += '\0';
    blocks += std::string("\0\x05\0", 3);
    PutBe32(blocks, static_cast<int64_t>(block.size()));
    blocks += block;
  }
  std::string second;
  PutBe32(second, 0);
  PutBe32(second, 0);
  second += std::string(3, '\0');
  PutBe32(second, out.minX * micrometres);
  PutBe32(second, out.maxX * micrometres);
  PutBe32(second, out.minY * micrometres);
  PutBe32(second, out.maxY * micrometres);
  PutBe32(second, (out.maxX - out.minX) * micrometres);
  PutBe32(second, (out.maxY - out.minY) * micrometres);
  for (uint32_t v : {0x6464u, 0x1000u, 0u, 0u, 0x1000u}) PutBe32(second, v);
  second += "xxPP";
  second += std::string("\x01\0", 2);
  PutWideText(second, kProducer);
  second += blocks;
  std::string design;
  PutBe16(design, 0);  // no notes
  PutBe32(design, out.maxX * micrometres);
  PutBe32(design, out.maxY * micrometres);
  PutBe32(design, out.minX * micrometres);
  PutBe32(design, out.minY * micrometres);
  PutBe32(design, out.stitches);
  PutBe16(design, static_cast<int32_t>(out.colours.size()));
  design += std::string("\x0C\0\x01\0\x03\0", 6);
  PutBe32(design, static_cast<int64_t>(second.size()));
  design += second;
  std::string file("%vsm%", 5);
  file += '\0';
  PutWideText(file, kProducer);
  file += std::string("\0\x02\0", 3);
  PutBe32(file, static_cast<int64_t>(design.size()));
  file += design;
  run.dest.Seek(0);
  run.WriteBytes(file);
}

}  // namespace

const Codec kVp3Codec = {
    .code = kCodeVp3,
    .fileEnd = "VP3",
    .extension = ".VP3",
    .family = "Husqvarna Viking, Pfaff",
    .decode = DecodeVp3,
    .encode = EncodeVp3,
    .openSource = OpenVp3,
    .writeHead = StartVp3,
    .writeEnd = EndVp3,
    .scanSize = ScanVp3Size,
    .libraryOnly = true,
    .writesTrims = true,
};

}  // namespace tavlin
