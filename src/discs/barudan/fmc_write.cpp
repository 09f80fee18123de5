// FmcWrite: a stitch file onto an FMC disc. The file is converted to DSB in a working
// file, laid into free blocks a track side at a time, and then the index and last the
// directory are written: until then the disc still shows what it held.
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "discs/barudan/barudan_common.h"
#include "discs/barudan/fmc_disc.h"
#include "conversion/buffered_file.h"
#include "conversion/convert.h"
#include "conversion/format_table.h"
#include "conversion/numbers.h"
#include "conversion/text_header.h"
#include "platform/files.h"
#include "platform/working_folder.h"
#include "discs/disc_transfer.h"
#include "services/sector_service.h"
#include "services/track_side.h"

namespace tavlin {

namespace {

constexpr int kBlocksPerEntry = 16;
constexpr size_t kFirstSectorData = 130;  // stitch data in the design's first sector

// The design's first sector, all but its stitch data.
std::string FirstSectorHead(const std::string& header, int number, long count) {
  std::string head(126, '\0');
  // The stitch count's digits from the left in a six-digit field, "0" behind them.
  const std::string digits = std::to_string(count);
  std::string field = (digits + "000000").substr(0, 6);
  head[4] = static_cast<char>(std::stoi(field.substr(4, 2), nullptr, 16));
  head[5] = static_cast<char>(std::stoi(field.substr(2, 2), nullptr, 16));
  head[6] = static_cast<char>(std::stoi(field.substr(0, 2), nullptr, 16));
  head[7] = static_cast<char>(digits.size());
  const HeaderExtents extents = ReadHeaderExtents(header);
  head.replace(8, 2, IntToBytes2(extents.minusX));
  head.replace(10, 2, IntToBytes2(-extents.plusX));
  head.replace(12, 2, IntToBytes2(extents.minusY));
  head.replace(14, 2, IntToBytes2(-extents.plusY));
  head.replace(32, 4, "FMC ");
  head.replace(36, 2, TwoDigits(number));
  head.replace(38, 18, std::string(18, ' '));
  return head;
}

// The next 256 bytes of stitch data. The piece that meets the end of the file is the
// last: at its first run of six zero bytes it gets the end record back and zero fill.
std::string NextPiece(BufferedFile& file, bool& ended) {
  size_t run = std::string::npos;
  std::string piece = ReadPiece(file, ended, run);
  if (run != std::string::npos) {
    std::string before = piece.substr(0, run);
    before += before.find('\xF8') != std::string::npos ? std::string("\x00\x00", 2)
                                                       : std::string("\xF8\x00\x00", 3);
    before.resize(256, '\0');
    piece = before;
  }
  return piece;
}

BlockEntry NewEntry(int number) {
  BlockEntry entry;
  entry.bytes = std::string(1, '\0') + "A" + TwoDigits(number) + "     DAT" + std::string(4, '\0');
  return entry;
}

// Completes an entry with its extent and record bytes, from the bytes it holds.
void CompleteEntry(BlockEntry& entry, double dataBytes) {
  double v = (dataBytes + 160) / 128;
  int extent = 0;
  if (v > 255) {
    v -= 256;
    extent = static_cast<int>(std::nearbyint(v / 255)) + 1;
  }
  // A further entry with no blocks can come out below zero: it holds zero.
  const double records = std::max(0.0, std::min(255.0, std::nearbyint(v)));
  entry.bytes.resize(32, '\0');
  entry.bytes[12] = static_cast<char>(extent);
  entry.bytes[15] = static_cast<char>(static_cast<int>(records));
}

// The index record of design NN.
std::string IndexRecord(int number) {
  return "A" + TwoDigits(number) + "     FMC " + TwoDigits(number) + std::string(18, ' ');
}

}  // namespace

int16_t FmcWrite(SharedRecord& shared, const std::string& sourceFile) {
  FmcState& fmc = shared.Own<FmcState>();
  BarudanLists& lists = shared.Own<BarudanLists>();
  shared.SectorBuffer.fill(0);
  shared.SectorBufferLen = static_cast<int16_t>(kSectorBufferBytes);
  if (sourceFile.empty()) return 2;
  SetVector25632(shared.platform);
  SetDiscDSDD32(shared.platform);
  fmc.IndexImage = FmcReadIndex(shared);
  if (fmc.IndexImage.empty()) return 1;
  if (FmcReadDirectory(shared) != FmcPass::Read) return 1;

  // What the directory holds now: numbers taken and blocks used.
  std::vector<bool> numberTaken(100, false);
  lists.BlockUsed.fill(false);
  const std::string& directory = fmc.DirectoryImage;
  for (int entry = 1; entry < kFmcEntries; ++entry) {
    if (FmcEntryFree(directory, entry)) continue;
    const long number = std::strtol(directory.substr(static_cast<size_t>(entry) * 32 + 2, 2).c_str(),
                                    nullptr, 10);
    if (number >= 1 && number <= 99) numberTaken[static_cast<size_t>(number)] = true;
    for (char block : FmcEntryBlocks(directory, entry)) {
      lists.BlockUsed[static_cast<uint8_t>(block)] = true;
    }
  }
  const int number =
      LowestFreeNumber([&numberTaken](int n) { return numberTaken[static_cast<size_t>(n)]; });
  if (number == 0) return 4;

  const ScopedWorkingFile working(shared.platform, "$TEMP.TMP");
  const int16_t converted = ConvertForDisc(shared, sourceFile, "DSB", working.Path());
  if (converted != 0) return converted;

  BufferedFile file(OpenFile(shared.platform, working.Path()));
  const int64_t length = file.Length();
  shared.DiscByteCount = FmcFreeBytes(shared, false);
  if (shared.DiscByteCount < length) {
    shared.WriteLimit = RoomLimit::Blocks;
    return 5;
  }

  std::string header(512, ' ');
  file.Read(reinterpret_cast<uint8_t*>(header.data()), header.size());
  const long count = static_cast<long>(std::max<int64_t>(length - 512, 0) / 3);
  std::string firstSector = FirstSectorHead(header, number, count);
  std::string data(kFirstSectorData, '\0');
  file.Read(reinterpret_cast<uint8_t*>(data.data()), data.size());
  firstSector += data;

  SetVector25632(shared.platform);
  SetDiscDSDD32(shared.platform);
  std::vector<BlockEntry> entries{NewEntry(number)};
  static constexpr BarudanBlocks kBlocks{
      .firstBlock = kFmcFirstDataBlock,
      .lastBlock = kFmcLastDataBlock,
      .blocksPerEntry = kBlocksPerEntry,
      .piecesPerBlock = static_cast<int>(kFmcSectorOrder.size()),
      .number = [](int block) { return std::string(1, static_cast<char>(block)); },
      .track = FmcBlockTrack,
      .head = FmcBlockHead,
      .sector = [](int, int piece) { return kFmcSectorOrder[static_cast<size_t>(piece)]; },
  };
  // A full entry holds 64 KB: its record byte says so, and its extent is 3.
  const bool written = WriteBlocks(
      shared, kBlocks, firstSector, file, NextPiece, entries,
      [](BlockEntry& entry) {
        entry.bytes[15] = static_cast<char>(0x80);
        entry.bytes[12] = 3;
      },
      [number](size_t) { return NewEntry(number); });
  if (!written) return 1;
  const double fullBytes = 65536.0 * static_cast<double>(entries.size() - 1);
  CompleteEntry(entries.back(), static_cast<double>(length - 512) - fullBytes);
  file.Close();

  // The new entries over the lowest free ones; entry 0 is the signature.
  if (!PlaceEntries(fmc.DirectoryImage, entries, 1, kFmcEntries, FmcEntryFree)) {
    shared.WriteLimit = RoomLimit::DirectoryEntries;
    return 1;
  }
  // The design's index record in the last free record, if there is one.
  for (int record = 35; record >= 0; --record) {
    const size_t at = static_cast<size_t>(record) * 32;
    if (fmc.IndexImage[at] == ' ') {
      fmc.IndexImage.replace(at, 32, IndexRecord(number));
      break;
    }
  }
  if (FmcWriteIndex(shared, fmc.IndexImage) != 0) return 1;
  if (!FmcWriteDirectory(shared, false)) return 1;
  shared.WrittenName = "A" + TwoDigits(number) + "     .DAT";
  return 0;
}

}  // namespace tavlin
