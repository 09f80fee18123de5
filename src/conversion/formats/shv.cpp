// SHV: not compressed. An 86-byte notice, the design's name behind its length byte, a
// picture of four bits a pixel (its width and height lead it), the colour count, the
// extents (big-endian, Y down), and for each colour its length in two-byte units, its
// thread and where its needle starts; then the records of every colour, one after the
// other: a pair of signed bytes (X, Y down) a stitch, or 0x80 and a code: 1 a jump of
// two big-endian words, 3 a trim, 2 the end of a jump.
#include <algorithm>
#include <cstdlib>
#include <memory>

#include "conversion/convert.h"
#include "conversion/formats/formats.h"
#include "conversion/formats/viking_reading.h"
#include "platform/run_time_error.h"

namespace tavlin {

namespace {

constexpr int64_t kNoticeBytes = 86;
constexpr uint8_t kEscape = 0x80;
constexpr uint8_t kShvJump = 0x01;
constexpr uint8_t kShvTrim = 0x03;
constexpr int64_t kColourRecordBytes = 14;

[[noreturn]] void Damaged() { throw RunTimeError(kResultDamagedFile); }

int16_t Be16(const uint8_t* b) { return static_cast<int16_t>(b[0] << 8 | b[1]); }
uint32_t Be32(const uint8_t* b) {
  return uint32_t{b[0]} << 24 | uint32_t{b[1]} << 16 | uint32_t{b[2]} << 8 | uint32_t{b[3]};
}

// Reads exactly n bytes at the file's position, or the file is damaged.
void Take(BufferedFile& file, uint8_t* out, size_t n) {
  if (file.Read(out, n) != n) Damaged();
}

// Leaves the file at the colour count.
void SkipToColours(BufferedFile& file) {
  uint8_t nameLength = 0;
  file.Seek(kNoticeBytes);
  Take(file, &nameLength, 1);
  uint8_t picture[6];
  file.Seek(kNoticeBytes + 1 + nameLength);
  Take(file, picture, sizeof picture);
  const int64_t pictureBytes = (int64_t{picture[0]} + 1) / 2 * picture[1];
  const int64_t at = file.Position() + pictureBytes;
  if (at > file.Length()) Damaged();
  file.Seek(at);
}

DesignSize ScanShvSize(BufferedFile& source) {
  DesignSize size;
  try {
    SkipToColours(source);
    uint8_t head[15];
    Take(source, head, sizeof head);
    size.DesignColours = head[0];
    size.PlusX = static_cast<int16_t>(std::abs(Be16(head + 7)));
    size.MinusY = static_cast<int16_t>(std::abs(Be16(head + 9)));
    size.MinusX = static_cast<int16_t>(std::abs(Be16(head + 11)));
    size.PlusY = static_cast<int16_t>(std::abs(Be16(head + 13)));
    size.DesignWidth = static_cast<int16_t>(std::min(32767, size.PlusX + size.MinusX));
    size.DesignHeight = static_cast<int16_t>(std::min(32767, size.PlusY + size.MinusY));
  } catch (const RunTimeError&) {
    size = DesignSize{};
  }
  source.Seek(0);
  return size;
}

void OpenShv(ConversionRun& run) {
  auto reading = std::make_shared<HusReading>();
  BufferedFile& file = run.source;
  SkipToColours(file);
  uint8_t head[19];
  Take(file, head, sizeof head);
  const int colours = head[0];
  if (file.Position() + colours * kColourRecordBytes > file.Length()) Damaged();
  uint64_t end = 0;
  for (int c = 0; c < colours; ++c) {
    uint8_t record[kColourRecordBytes];
    Take(file, record, sizeof record);
    end += Be32(record);
    reading->colours.push_back({end, Be16(record + 10), -Be16(record + 12)});
  }
  run.Hus = std::move(reading);
}

Decoded DecodeShv(ConversionRun& run) {
  HusReading& r = *run.Hus;
  // A colour whose records are all read hands over to the next: the needle goes where
  // that colour starts.
  if (r.colour + 1 < r.colours.size() && r.units >= r.colours[r.colour].end) {
    ++r.colour;
    const HusReading::ShvColour& next = r.colours[r.colour];
    const int32_t dx = next.x - r.x, dy = next.y - r.y;
    if (dx < INT16_MIN || dx > INT16_MAX || dy < INT16_MIN || dy > INT16_MAX) throw RunTimeError(kOverflow);
    r.x = next.x;
    r.y = next.y;
    run.step.StepX = static_cast<int16_t>(dx);
    run.step.StepY = static_cast<int16_t>(dy);
    run.step.StepKind = KindColour;
    run.NextColour();
    return Decoded::Step;
  }
  uint8_t pair[2];
  if (!run.ReadRecord(pair, 2)) return Decoded::End;
  int32_t x = 0, y = 0;
  if (pair[0] == kEscape) {
    if (pair[1] == kShvJump) {
      uint8_t move[4];
      if (!run.ReadRecord(move, 4)) return Decoded::End;
      r.units += 3;
      x = Be16(move);
      y = -Be16(move + 2);
      if (y > INT16_MAX) throw RunTimeError(kOverflow);
      run.step.StepKind = KindJump;
    } else if (pair[1] == kShvTrim) {
      r.units += 1;
      run.step.StepKind = KindTrim;
      run.TrimPending = true;
    } else {
      r.units += 1;
      return Decoded::NoStep;
    }
  } else {
    r.units += 1;
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

}  // namespace

const Codec kShvCodec = {
    .code = kCodeShv,
    .fileEnd = "SHV",
    .extension = ".SHV",
    .family = "Husqvarna Viking",
    .decode = DecodeShv,
    .openSource = OpenShv,
    .designService = true,
    .scanSize = ScanShvSize,
};

}  // namespace tavlin
