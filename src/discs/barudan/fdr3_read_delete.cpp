// Fdr3Read and Fdr3Delete: a design off an FDR3 disc by its place in the last listing,
// found again by its name when the disc has changed since.
#include <cstdlib>

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

// Gathers the design's stitch data behind 512 blanks, and its header in front; false
// when a track side can't be read or the blocks end before the data does.
bool GatherDesign(SharedRecord& shared, const std::string& blocks, int64_t total, bool dstKind,
                  const std::string& destName, BufferedFile& out) {
  std::string kept;
  int64_t count = 0;
  TrackSideReader sides(shared);
  bool header = true;
  for (size_t at = 0; at + 2 <= blocks.size(); at += 2) {
    const int block = Bytes2ToInt(blocks.substr(at, 2));
    if (block == 0) break;
    const int low = block & 0xFF;
    for (int piece = 0; piece < 8; ++piece) {
      const uint8_t sector = kFdr3SectorOrder[static_cast<size_t>(Fdr3BlockFirstPiece(low) + piece)];
      const std::string* read = sides.Get(Fdr3BlockTrack(low), Fdr3BlockHead(low), sector);
      if (read == nullptr) return false;
      std::string bytes = *read;
      if (header) {
        kept = bytes.substr(128, 8);
        header = false;
        continue;
      }
      const int64_t before = count;
      count += 256;
      bool last = false;
      if (!dstKind) {
        // The end record, or its first byte without the sign bits, ends a DSB stream.
        size_t mark = bytes.find('\xF8');
        if (mark == std::string::npos) mark = bytes.find('\x98');
        if (mark != std::string::npos) {
          bytes = bytes.substr(0, std::min<size_t>(mark + 3, bytes.size()));
          last = true;
        }
      }
      if (!last && count >= total) {
        bytes = bytes.substr(0, static_cast<size_t>(std::max<int64_t>(total - before, 0)));
        bytes += dstKind ? std::string("\x00\x00\xF3", 3) : std::string("\xF8\x00\x00", 3);
        last = true;
      }
      out.Write(bytes);
      if (last) {
        auto magnitude = [&kept](size_t offset) { return std::abs(Bytes2ToInt(kept.substr(offset, 2))); };
        out.Seek(0);
        out.Write(DiscReadHeader(destName, "BAR", magnitude(4), magnitude(0), magnitude(6),
                                 magnitude(2)));
        return true;
      }
    }
  }
  return false;
}

}  // namespace

int16_t Fdr3Read(SharedRecord& shared, int slot, const std::string& destName) {
  shared.SectorBuffer.fill(0);
  shared.SectorBufferLen = static_cast<int16_t>(kSectorBufferBytes);
  if (slot < 0 || slot >= static_cast<int>(kListSlots)) return 2;
  const std::string wanted = shared.ListNames[static_cast<size_t>(slot)];
  // The "E" kind holds DST records.
  const bool dstKind = wanted.size() == 12 && wanted[9] == 'E';
  SetVector25632(shared.platform);
  SetDiscDSDD32(shared.platform);
  if (ReadSideImage(shared, 40, 0, kFdr3SectorOrder, shared.Own<Fdr3State>().DirectoryImage) != SidePass::Read) {
    return 1;
  }
  for (size_t s = 1; s <= 100; ++s) shared.ListDetails[s].clear();
  int found = 0;
  std::array<int32_t, kListSlots> totals{};
  const int files = Fdr3CollectFiles(shared, wanted, found, totals);
  if (found != 0) slot = found;
  if (files == 0 || slot < 1 || slot > files) return 2;
  const int64_t total = totals[static_cast<size_t>(slot)] - 256;
  const std::string blocks = shared.Own<BarudanLists>().ListBlocks[static_cast<size_t>(slot)];
  const int first = blocks.empty() ? 0 : static_cast<uint8_t>(blocks[0]);
  const uint8_t firstSector = kFdr3SectorOrder[static_cast<size_t>(Fdr3BlockFirstPiece(first))];
  if (!ReadSectorTries(shared, Fdr3BlockTrack(first), Fdr3BlockHead(first), firstSector, 1)) {
    return 1;
  }

  return DeliverFromDisc(shared, dstKind ? "DST" : "DSB", destName, [&](BufferedFile& out) {
    return GatherDesign(shared, blocks, total, dstKind, destName, out);
  });
}

int16_t Fdr3Delete(SharedRecord& shared, int slot) {
  Fdr3State& fdr3 = shared.Own<Fdr3State>();
  BarudanLists& lists = shared.Own<BarudanLists>();
  PumpMessages(shared.platform);
  if (slot < 1 || slot >= static_cast<int>(kListSlots)) return 2;
  const std::string name = shared.ListNames[static_cast<size_t>(slot)];
  if (name.size() != 12 || fdr3.DirectoryImage.size() != 4096) return 2;
  const std::string& blocks = lists.ListBlocks[static_cast<size_t>(slot)];
  for (size_t at = 0; at < blocks.size(); at += 2) {
    lists.BlockUsed[static_cast<uint8_t>(blocks[at])] = false;
    shared.DiscByteCount += 2048;
  }
  shared.FreeStitchesText = ThousandsText(shared.DiscByteCount / 3);
  // Each entry of the file is marked deleted in the byte before its name.
  std::string& directory = fdr3.DirectoryImage;
  const std::string discName = name.substr(0, 8) + name.substr(9, 3);
  MarkEntriesDeleted(directory, discName, static_cast<char>(0xFF), 128);
  shared.ListNames[static_cast<size_t>(slot)] = "DELETED";
  if (!WriteSideImage(shared, directory, 40, 0, kFdr3SectorOrder, true)) return 1;
  return 0;
}

}  // namespace tavlin
