// Fixtures the tests build for themselves: temporary folders, byte files, DST records.
#pragma once

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <initializer_list>
#include <iterator>
#include <memory>
#include <random>
#include <ostream>
#include <string>
#include <thread>

#include <unistd.h>
#include <vector>

#include <gtest/gtest.h>

#include "conversion/conversion_run.h"
#include "conversion/convert.h"
#include "conversion/format_table.h"
#include "conversion/numbers.h"
#include "conversion/formats/formats.h"
#include "platform/run_time_error.h"
#include "tavlin/progress.h"

namespace tavlin::test {

// A folder of its own for each test, removed afterwards.
class TempDir {
 public:
  TempDir() {
    static int counter = 0;
    path_ = std::filesystem::temp_directory_path() /
            ("tavlin-test-" + std::to_string(::getpid()) + "-" + std::to_string(++counter));
    std::filesystem::create_directories(path_);
  }
  ~TempDir() {
    std::error_code ec;
    std::filesystem::remove_all(path_, ec);
  }
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;

  std::string operator/(const std::string& name) const { return (path_ / name).string(); }
  const std::filesystem::path& path() const { return path_; }

 private:
  std::filesystem::path path_;
};

inline std::string ReadBytes(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

inline void WriteBytes(const std::string& path, const std::string& bytes) {
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
}

inline std::string Bytes(std::initializer_list<int> values) {
  std::string bytes;
  for (int v : values) bytes.push_back(static_cast<char>(v));
  return bytes;
}

inline std::string RandomBytes(std::mt19937& random, size_t n) {
  std::string bytes(n, '\0');
  for (char& c : bytes) c = static_cast<char>(random() & 0xFF);
  return bytes;
}

struct Rec {
  int16_t kind;
  int16_t x;
  int16_t y;
};

// One DST record.
inline std::string DstRecord(int16_t kind, int16_t x, int16_t y) {
  uint8_t r[3];
  EncodeTernary(kind, y, x, r);
  return std::string(reinterpret_cast<const char*>(r), 3);
}

// A DST file: a blank header, the records, and the end record.
inline std::string DstFile(const std::vector<Rec>& records, bool endRecord = true) {
  std::string bytes(512, ' ');
  for (const Rec& r : records) bytes += DstRecord(r.kind, r.x, r.y);
  if (endRecord) bytes += Bytes({0x00, 0x00, 0xF3});
  return bytes;
}

// The records of a DST-family file behind its 512-byte header, three bytes each.
inline std::vector<std::string> RecordsOf(const std::string& file, size_t from = 512,
                                          size_t width = 3) {
  std::vector<std::string> records;
  for (size_t at = from; at + width <= file.size(); at += width) {
    records.push_back(file.substr(at, width));
  }
  return records;
}

// A header field's text, e.g. Field(file, 20, 11) is "ST:      1\r".
inline std::string Field(const std::string& file, size_t offset, size_t width) {
  return file.substr(offset, width);
}

class RecordingProgress final : public Progress {
 public:
  void Max(double value) override { maxima.push_back(value); }
  void Value(double value) override { values.push_back(value); }
  std::vector<double> maxima;
  std::vector<double> values;
};

// The sample designs beside the repository; a test that needs them fails with the
// reason when they are not there.
inline std::string Samples() {
  const std::string dir = TAVLIN_SAMPLES;
  EXPECT_TRUE(std::filesystem::is_directory(dir))
      << "the sample designs are expected at " << dir << " (shared/samples beside the repository)";
  return dir;
}

// Runs the body on a thread of its own, with a fresh shared record, as a new COM
// apartment would have.
template <typename Body>
void OnFreshThread(Body body) {
  std::thread thread(body);
  thread.join();
}

// A DST of n stitches that wander without drifting away, starting with a jump of
// (jx, jy), with a colour change every `colourEvery` stitches (0: none).
inline std::string ZigzagDst(int n, int16_t jx = 0, int16_t jy = 0, int colourEvery = 0) {
  std::vector<Rec> records{{KindJump, jx, jy}};
  for (int i = 0; i < n; ++i) {
    records.push_back({KindStitch, static_cast<int16_t>(i * 37 % 51 - 25),
                       static_cast<int16_t>(i * 53 % 31 - 15)});
    if (colourEvery > 0 && i % colourEvery == colourEvery - 1) records.push_back({KindColour, 0, 0});
  }
  return DstFile(records);
}

// Where the needle goes and what it does there: a step of a design as an absolute
// record. Needle changes count as colour changes.
struct Needle {
  long x, y;
  int16_t kind;
  int16_t colour;
  bool operator==(const Needle& o) const {
    return x == o.x && y == o.y && kind == o.kind && colour == o.colour;
  }
};

inline void PrintTo(const Needle& n, std::ostream* out) {
  *out << "(" << n.x << ", " << n.y << " kind " << n.kind << " colour " << n.colour << ")";
}

// The design in a file, step by step; jumps left out unless asked for, since formats
// split and join them differently.
std::vector<Needle> NeedlesOf(const std::string& path, bool withJumps = false);

// Every step of a file with its kind and the place it leaves the needle, jumps too, by
// the class's reading or the library's (`library`); the code that stopped the reading in
// `result`, or else expected to be 0.
std::vector<Needle> ReadNeedles(const std::string& path, bool library, int16_t* result = nullptr);

// A step as a file's decoder gives it: its kind, its movement (Y up) and its colour.
struct Step {
  int16_t kind;
  int16_t x, y;
  int16_t colour;
  bool operator==(const Step&) const = default;
};

inline void PrintTo(const Step& s, std::ostream* out) {
  *out << "{" << s.kind << ", " << s.x << ", " << s.y << ", colour " << s.colour << "}";
}

// The steps of a file by the class's reading, or by the library's (`library`).
std::vector<Step> StepsOf(const std::string& path, bool library);

// ConvertStitchFile on a record of its own, with the codes of the two names.
struct Converter {
  Converter() : shared(std::make_unique<SharedRecord>()) { shared->CurrentPB = progress; }
  int16_t operator()(const std::string& source, const std::string& dest) {
    sourceType = FindFormatCode(source, shared->AsOtherProgramsDo);
    destType = FindFormatCode(dest, shared->AsOtherProgramsDo);
    return ConvertStitchFile(*shared, sourceType, destType, source, dest, resolved);
  }
  std::shared_ptr<RecordingProgress> progress = std::make_shared<RecordingProgress>();
  std::unique_ptr<SharedRecord> shared;
  int16_t sourceType = 0, destType = 0;
  std::string resolved;
};

}  // namespace tavlin::test
