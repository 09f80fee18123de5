// Fdr3Write: a stitch file onto an FDR3 disc under a name of the host's. The file is
// converted to DSB in a working file, laid into free half-track blocks a track side at
// a time, and the directory is written last.
#include <cstdlib>
#include <vector>

#include "discs/barudan/barudan_common.h"
#include "discs/barudan/fdr3_disc.h"
#include "conversion/buffered_file.h"
#include "conversion/convert.h"
#include "conversion/format_table.h"
#include "conversion/numbers.h"
#include "conversion/text_header.h"
#include "platform/files.h"
#include "platform/working_folder.h"
#include "discs/disc_transfer.h"
#include "services/sector_service.h"

namespace tavlin {

namespace {

constexpr int kBlocksPerEntry = 8;
constexpr int32_t kFullEntryBytes = 16384;

// The design's first piece: the extents and the stitch count behind 128 "0"s.
std::string DesignHeader(const std::string& header, int64_t stitches) {
  const HeaderExtents extents = ReadHeaderExtents(header);
  std::string head(128, '0');
  head += IntToBytes2(-extents.minusX);
  head += IntToBytes2(-extents.minusY);
  head += IntToBytes2(extents.plusX);
  head += IntToBytes2(extents.plusY);
  head += std::string(4, '\0');
  head += IntToBytes4(static_cast<double>(stitches));
  head.resize(256, '\0');
  return head;
}

// The next 256 bytes of stitch data. At its first run of six zero bytes the piece
// keeps the run's first two, which complete the end record, and is filled with 0xE5.
std::string NextPiece(BufferedFile& file, bool& ended) {
  size_t run = std::string::npos;
  std::string piece = ReadPiece(file, ended, run);
  if (run != std::string::npos) {
    piece.resize(run + 2);
    piece.resize(256, '\xE5');
  }
  return piece;
}

BlockEntry NewEntry(int place, const std::string& name, int number) {
  return {std::string(1, static_cast<char>(place)) + name + "U" + TwoDigits(number), 0};
}

// Fills the entry with 0xFF to 28 bytes, then the count's low three bytes and 0xFF.
void CompleteEntry(BlockEntry& entry, int32_t count) {
  entry.bytes.resize(28, '\xFF');
  entry.bytes += IntToBytes4(static_cast<double>(static_cast<uint32_t>(count))).substr(0, 3);
  entry.bytes += '\xFF';
}

}  // namespace

int16_t Fdr3Write(SharedRecord& shared, const std::string& sourceFile, const std::string& destFile) {
  Fdr3State& fdr3 = shared.Own<Fdr3State>();
  BarudanLists& lists = shared.Own<BarudanLists>();
  shared.SectorBuffer.fill(0);
  shared.SectorBufferLen = static_cast<int16_t>(kSectorBufferBytes);
  if (sourceFile.empty()) return 2;
  SetVector25632(shared.platform);
  SetDiscDSDD32(shared.platform);
  if (ReadSideImage(shared, 40, 0, kFdr3SectorOrder, fdr3.DirectoryImage) != SidePass::Read) {
    return 1;
  }
  int found = 0;
  std::array<int32_t, kListSlots> totals{};
  // This scan's files; ListNames is put back, as the host's listing must stand.
  const std::array<std::string, kListSlots> names = shared.ListNames;
  const int files = Fdr3CollectFiles(shared, {}, found, totals);
  std::vector<bool> numberTaken(100, false);
  lists.BlockUsed.fill(false);
  for (int slot = 1; slot <= files; ++slot) {
    const std::string& name = shared.ListNames[static_cast<size_t>(slot)];
    const long number = std::strtol(name.substr(10, 2).c_str(), nullptr, 10);
    if (number >= 1 && number <= 99) numberTaken[static_cast<size_t>(number)] = true;
    const std::string& blocks = lists.ListBlocks[static_cast<size_t>(slot)];
    for (size_t at = 0; at < blocks.size(); at += 2) {
      lists.BlockUsed[static_cast<uint8_t>(blocks[at])] = true;
    }
  }
  shared.ListNames = names;
  const int number =
      LowestFreeNumber([&numberTaken](int n) { return numberTaken[static_cast<size_t>(n)]; });
  if (number == 0) return 4;

  const ScopedWorkingFile working(shared.platform, "$TEMP.TMP");
  const int16_t converted = ConvertForDisc(shared, sourceFile, "DSB", working.Path());
  if (converted != 0) return converted;
  PumpMessages(shared.platform);

  BufferedFile file(OpenFile(shared.platform, working.Path()));
  const int64_t length = file.Length();
  const int32_t freeBytes = Fdr3FreeBytes(shared);
  shared.DiscByteCount = freeBytes;
  if (freeBytes < length) {
    shared.WriteLimit = RoomLimit::Blocks;
    return 5;
  }

  std::string header(512, ' ');
  file.Read(reinterpret_cast<uint8_t*>(header.data()), header.size());
  const std::string first = DesignHeader(header, std::max<int64_t>(length - 512, 0) / 3);
  file.Seek(512);

  std::string name = destFile.substr(0, 8);
  name.resize(8, ' ');
  SetVector25632(shared.platform);
  SetDiscDSDD32(shared.platform);
  std::vector<BlockEntry> entries{NewEntry(0, name, number)};
  static constexpr BarudanBlocks kBlocks{
      .firstBlock = kFdr3FirstDataBlock,
      .lastBlock = kFdr3LastBlock,
      .blocksPerEntry = kBlocksPerEntry,
      .piecesPerBlock = 8,
      .number = [](int block) { return std::string(1, static_cast<char>(block)) + '\0'; },
      .track = Fdr3BlockTrack,
      .head = Fdr3BlockHead,
      .sector = [](int block, int piece) {
        return kFdr3SectorOrder[static_cast<size_t>(Fdr3BlockFirstPiece(block) + piece)];
      },
  };
  const bool written = WriteBlocks(
      shared, kBlocks, first, file, NextPiece, entries,
      [](BlockEntry& entry) { CompleteEntry(entry, kFullEntryBytes); },
      [&](size_t place) { return NewEntry(static_cast<int>(place), name, number); });
  if (!written) return 1;
  const auto fullBytes = static_cast<int32_t>(kFullEntryBytes * static_cast<int32_t>(entries.size() - 1));
  CompleteEntry(entries.back(), static_cast<int32_t>(length - 512 - fullBytes + 256));
  file.Close();

  std::string& image = fdr3.DirectoryImage;
  if (!PlaceEntries(image, entries, 0, kFdr3Entries, Fdr3EntryFree)) {
    shared.WriteLimit = RoomLimit::DirectoryEntries;
    return 1;
  }
  if (!WriteSideImage(shared, image, 40, 0, kFdr3SectorOrder, false)) return 1;
  shared.WrittenName = name + ".U" + TwoDigits(number);
  return 0;
}

}  // namespace tavlin
