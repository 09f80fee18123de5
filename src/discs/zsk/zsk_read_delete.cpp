// ZskRead and ZskDelete: a design off a ZSK disc by its line in the last listing,
// found again by its number when the directory has changed since.
#include <algorithm>

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
#include "discs/zsk/zsk_disc.h"

namespace tavlin {

namespace {

bool IsDataBlock(int block) { return block >= kZskFirstDataBlock && block <= kZskLastBlock; }

// Where the stream ends in a piece, counted from 1: at a 0x90, before a 0x91, before
// three zero bytes, or at a 0xF1, in that order of preference; 0 when it goes on.
size_t EndOfStream(const std::string& chunk, bool& beforeMark) {
  auto position = [&chunk](const std::string& what) {
    const size_t at = chunk.find(what);
    return at == std::string::npos ? 0 : at + 1;
  };
  beforeMark = false;
  if (const size_t at = position("\x90")) return at;
  if (const size_t at = position("\x91")) {
    beforeMark = true;
    return at - 1;
  }
  if (const size_t at = position(std::string(3, '\0'))) return at - 1;
  return position("\xF1");
}

// Gathers the design's stream behind 512 blanks; false when a track side can't be
// read or the chain ends, loops or leaves the disc before an end mark.
bool GatherStream(SharedRecord& shared, int block, BufferedFile& out) {
  std::vector<bool> visited(kZskLastBlock + 1, false);
  TrackSideReader sides(shared);
  bool first = true;
  while (IsDataBlock(block) && !visited[static_cast<size_t>(block)]) {
    visited[static_cast<size_t>(block)] = true;
    for (int n = 0; n < 4; ++n) {
      const ZskSector s = ZskBlockSector(block, n);
      const std::string* read = sides.Get(s.track, s.head, s.sector);
      if (read == nullptr) return false;
      std::string chunk = *read;
      if (first) chunk.erase(0, 2);
      first = false;
      bool beforeMark = false;
      const size_t end = EndOfStream(chunk, beforeMark);
      if (end == 0) {
        out.Write(chunk);
        continue;
      }
      out.Write(chunk.substr(0, end));
      if (beforeMark) out.Write(std::string_view("\x90", 1));
      return true;
    }
    block = ZskLink(shared.Own<ZskState>().Table, block);
  }
  return false;
}

}  // namespace

int16_t ZskRead(SharedRecord& shared, int entry, const std::string& destName) {
  ZskState& zsk = shared.Own<ZskState>();
  shared.SectorBuffer.fill(0);
  if (entry < 0 || entry >= static_cast<int>(kListSlots)) return 2;
  const std::string wanted = shared.ListNames[static_cast<size_t>(entry)];
  for (size_t slot = 1; slot <= 36; ++slot) shared.ListDetails[slot].clear();
  SetVector25632(shared.platform);
  SetDiscDSDD32(shared.platform);
  zsk.Table = ZskReadDirectoryTrack(shared);
  if (zsk.Table.empty()) return 1;
  zsk.DirectoryBlockNo = ZskField(zsk.Table, 8);
  zsk.DirectoryBlock = ZskReadBlock(shared, zsk.DirectoryBlockNo);
  if (zsk.DirectoryBlock.empty()) return 1;

  int firstBlock = -1;
  const std::vector<ZskRecord> records = ZskRecords(zsk.DirectoryBlock);
  for (size_t i = 1; i <= records.size(); ++i) {
    const ZskRecord& r = records[i - 1];
    std::string name = std::to_string(r.Number());
    name.resize(12, ' ');
    shared.ListNames[i] = name;
    shared.ListDetails[i] = std::to_string(r.Size() & 0xFF);
    if (name == wanted) entry = static_cast<int>(i);
    if (static_cast<int>(i) == entry) firstBlock = r.FirstBlock();
  }
  if (firstBlock < 0) return 2;
  const ZskSector start = ZskBlockSector(firstBlock, 0);
  if (!IsDataBlock(firstBlock) || !ReadSectorOnce(shared, start.track, start.head, start.sector)) {
    return 1;
  }

  return DeliverFromDisc(shared, "DSZ", destName, [&](BufferedFile& out) {
    if (!GatherStream(shared, firstBlock, out)) return false;
    out.Seek(0);
    out.Write(DiscReadHeader(destName, "ZSK", 0, 0, 0, 0));
    return true;
  });
}

int16_t ZskDelete(SharedRecord& shared, int entry) {
  ZskState& zsk = shared.Own<ZskState>();
  PumpMessages(shared.platform);
  if (entry < 1 || entry >= static_cast<int>(kListSlots)) return 2;
  const size_t slot = static_cast<size_t>(entry);
  const std::string name = shared.ListNames[slot];
  // Only a design the last listing showed can be deleted.
  if (name.size() != 12 || zsk.Table.size() != kZskTableBytes ||
      zsk.DirectoryBlock.size() != kZskBlockBytes) {
    return 2;
  }
  const int last = ZskField(zsk.LastBlocks[slot], 0);
  if (!IsDataBlock(last)) return 1;

  // The design's chain becomes the head of the free chain; no block of it is touched.
  std::string& table = zsk.Table;
  const int count = shared.ListBlockCounts[slot];
  SetZskField(table, 0, ZskField(table, 0) + count);
  table.replace(2, 2, zsk.FirstBlocks[slot]);
  SetZskField(table, 2 * static_cast<size_t>(last), zsk.FreeHead);
  zsk.FreeHead = ZskField(table, 2);
  shared.DiscByteCount += count * kZskBlockBytes;
  shared.FreeStitchesText = ThousandsText(shared.DiscByteCount / 3);

  const int wanted = std::atoi(name.substr(0, 3).c_str());
  std::vector<std::string> kept;
  for (const ZskRecord& r : ZskRecords(zsk.DirectoryBlock)) {
    if (r.Number() != wanted) kept.push_back(r.bytes);
  }
  zsk.DirectoryBlock = ZskDirectoryOf(zsk.DirectoryBlock, kept);
  shared.ListNames[slot] = "DELETED";
  // The directory first: a table that can't follow leaves blocks lost, not shared.
  if (ZskWriteBlock(shared, zsk.DirectoryBlock, zsk.DirectoryBlockNo) != 0) return 1;
  if (ZskWriteTable(shared, table) != 0) return 1;
  return 0;
}

}  // namespace tavlin
