// FmcRead and FmcDelete: a design off an FMC disc by its place in the last listing,
// found again by its name when the disc has changed since.
#include <cstdio>
#include <cstdlib>

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

// The stitch data's length by the design's first sector: the count's digits, as many
// as byte 7 says, from bytes 6, 5 and 4 read as hexadecimal digits; three bytes each.
int64_t StitchBytes(const std::string& firstSector) {
  const auto* b = reinterpret_cast<const uint8_t*>(firstSector.data());
  char digits[8];
  std::snprintf(digits, sizeof digits, "%02X%02X%02X", b[6], b[5], b[4]);
  const std::string kept = std::string(digits).substr(0, std::min<size_t>(b[7], 6));
  return 3 * std::strtol(kept.c_str(), nullptr, 10);
}

// The text header the DSB reader skips, from the extents of the first sector.
std::string RebuiltHeader(const std::string& firstSector, const std::string& destName) {
  auto magnitude = [&firstSector](size_t offset) {
    return std::abs(Bytes2ToInt(firstSector.substr(offset, 2)));
  };
  return DiscReadHeader(destName, "BAR", magnitude(10), magnitude(8), magnitude(14),
                        magnitude(12));
}

// Gathers the design's stitch data into a DSB working file behind its header; false
// when a track side can't be read or the block list ends before the stitch count.
bool GatherDesign(SharedRecord& shared, const std::string& blocks, const std::string& destName,
                  BufferedFile& out) {
  int64_t total = -1, written = 0;
  TrackSideReader sides(shared);
  for (char blockByte : blocks) {
    const int block = static_cast<uint8_t>(blockByte);
    if (block == 0) break;  // the fill behind a list names no block
    for (uint8_t sector : kFmcSectorOrder) {
      const std::string* read = sides.Get(FmcBlockTrack(block), FmcBlockHead(block), sector);
      if (read == nullptr) return false;
      std::string piece = *read;
      if (total < 0) {
        total = StitchBytes(piece);
        out.Seek(0);
        out.Write(RebuiltHeader(piece, destName));
        out.Seek(512);
        piece = piece.substr(126);
      }
      const auto take = static_cast<size_t>(std::min<int64_t>(total - written, static_cast<int64_t>(piece.size())));
      out.Write(piece.substr(0, take));
      written += static_cast<int64_t>(take);
      if (written == total) return true;
    }
  }
  return false;
}

}  // namespace

int16_t FmcRead(SharedRecord& shared, int slot, const std::string& destName) {
  shared.SectorBuffer.fill(0);
  shared.SectorBufferLen = static_cast<int16_t>(kSectorBufferBytes);
  if (slot < 0 || slot >= static_cast<int>(kListSlots)) return 2;
  const std::string wanted = shared.ListNames[static_cast<size_t>(slot)];
  SetVector25632(shared.platform);
  SetDiscDSDD32(shared.platform);
  if (FmcReadDirectory(shared) != FmcPass::Read) return 1;
  int found = 0;
  const int files = FmcCollectFiles(shared, wanted, found);
  if (found != 0) slot = found;
  if (files == 0 || slot < 1 || slot > files) return 2;
  const std::string blocks = shared.Own<BarudanLists>().ListBlocks[static_cast<size_t>(slot)];
  const int first = blocks.empty() ? 0 : static_cast<uint8_t>(blocks[0]);
  if (!ReadSectorTries(shared, FmcBlockTrack(first), FmcBlockHead(first), 1, 1)) return 1;

  return DeliverFromDisc(shared, "DSB", destName, [&](BufferedFile& out) {
    return GatherDesign(shared, blocks, destName, out);
  });
}

int16_t FmcDelete(SharedRecord& shared, int slot) {
  FmcState& fmc = shared.Own<FmcState>();
  BarudanLists& lists = shared.Own<BarudanLists>();
  PumpMessages(shared.platform);
  if (slot < 1 || slot >= static_cast<int>(kListSlots)) return 2;
  const std::string name = shared.ListNames[static_cast<size_t>(slot)];
  // A slot the last listing didn't fill names nothing to delete.
  if (name.size() < 12) return 2;
  for (char blockByte : lists.ListBlocks[static_cast<size_t>(slot)]) {
    const auto block = static_cast<uint8_t>(blockByte);
    lists.BlockUsed[block] = false;
    if (block != 0) shared.DiscByteCount += 4096;
  }
  shared.FreeStitchesText = ThousandsText(shared.DiscByteCount / 3);

  std::string& index = fmc.IndexImage;
  const size_t record = index.find(name.substr(0, 3));
  if (record != std::string::npos) {
    index.replace(record, std::min<size_t>(32, index.size() - record),
                  std::min<size_t>(32, index.size() - record), ' ');
  }
  // Each entry of the design is marked free in the byte before its name.
  std::string& directory = fmc.DirectoryImage;
  const std::string discName = name.substr(0, 8) + name.substr(name.size() - 3);
  MarkEntriesDeleted(directory, discName, static_cast<char>(0xE5), 127);
  shared.ListNames[static_cast<size_t>(slot)] = "DELETED";
  if (FmcWriteIndex(shared, index) != 0) return 1;
  if (!FmcWriteDirectory(shared, true)) return 1;
  return 0;
}

}  // namespace tavlin
