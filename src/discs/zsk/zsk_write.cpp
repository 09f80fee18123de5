// ZskWrite: a stitch file onto a ZSK disc. The file is converted to DSZ in a working
// file; its stream is laid along the free chain a track side at a time, then the block
// table and last the directory block are written.
#include <algorithm>

#include "conversion/buffered_file.h"
#include "conversion/convert.h"
#include "conversion/format_table.h"
#include "conversion/numbers.h"
#include "platform/files.h"
#include "platform/working_folder.h"
#include "discs/disc_transfer.h"
#include "services/sector_service.h"
#include "services/track_side.h"
#include "discs/zsk/zsk_disc.h"

namespace tavlin {

namespace {

constexpr int kLabelTrack = 0, kLabelHead = 0, kLabelSector = 11;

bool IsDataBlock(int block) { return block >= kZskFirstDataBlock && block <= kZskLastBlock; }

// The next piece of the stream. The piece that holds six zero bytes ends the stream
// before them and gets the end mark 0xF1 unless it holds a 0x90 or 0xF1 already.
std::string NextChunk(BufferedFile& file, bool first, bool& ended) {
  std::string chunk = first ? std::string(2, '\0') : std::string();
  std::string read(first ? 254 : 256, '\0');
  read.resize(file.Read(reinterpret_cast<uint8_t*>(read.data()), read.size()));
  ended = file.Position() >= file.Length();
  chunk += read;
  chunk.resize(256, '\0');
  const size_t run = chunk.find(std::string(6, '\0'));
  if (run != std::string::npos) {
    chunk.resize(run);
    if (chunk.find_first_of("\x90\xF1") == std::string::npos) chunk += std::string("\0\0\xF1", 3);
    chunk.resize(256, '\0');
  }
  return chunk;
}

}  // namespace

int16_t ZskWrite(SharedRecord& shared, const std::string& sourceFile) {
  ZskState& zsk = shared.Own<ZskState>();
  shared.SectorBuffer.fill(0);
  for (std::string& slot : shared.TrackBuffer) slot.clear();
  zsk.DirectoryBlock.clear();
  zsk.Table.clear();
  if (sourceFile.empty()) return 2;

  SetVector25632(shared.platform);
  SetDiscDSDD32(shared.platform);
  if (!ReadSectorTries(shared, kLabelTrack, kLabelHead, kLabelSector, 3)) return 1;
  if (SectorBytes(shared).compare(0, 3, "ZSK") != 0) return 1;
  zsk.Table = ZskReadDirectoryTrack(shared);
  if (zsk.Table.empty()) return 1;
  zsk.DirectoryBlockNo = ZskField(zsk.Table, 8);
  zsk.DirectoryBlock = ZskReadBlock(shared, zsk.DirectoryBlockNo);
  if (zsk.DirectoryBlock.empty()) return 1;
  // The lowest number no record carries.
  const std::vector<ZskRecord> records = ZskRecords(zsk.DirectoryBlock);
  const int number = LowestFreeNumber([&records](int n) {
    return std::any_of(records.begin(), records.end(),
                       [n](const ZskRecord& r) { return r.Number() == n; });
  });
  if (number == 0) return 4;
  // A record that would not fit is no room left.
  if (ZskDirectoryFull(records.size())) {
    shared.WriteLimit = RoomLimit::DirectoryEntries;
    return 5;
  }

  const ScopedWorkingFile working(shared.platform, "$TEMP.TMP");
  const int16_t converted = ConvertForDisc(shared, sourceFile, "DSZ", working.Path());
  if (converted != 0) return converted;

  PumpMessages(shared.platform);
  std::string& table = zsk.Table;
  zsk.FreeHead = ZskField(table, 2);
  const int freeBlocks = ZskField(table, 0);
  BufferedFile file(OpenFile(shared.platform, working.Path()));
  if (static_cast<int64_t>(freeBlocks) * kZskBlockBytes < file.Length()) {
    shared.WriteLimit = RoomLimit::Blocks;
    return 5;
  }

  file.Seek(512);
  int block = zsk.FreeHead;
  const int firstBlock = block;
  int used = 1;
  std::vector<bool> visited(kZskLastBlock + 1, false);
  SetVector25632(shared.platform);
  SetDiscDSDD32(shared.platform);
  TrackSideWriter sides(shared);
  bool ended = false, first = true;
  for (;;) {
    // A free chain that leaves the disc or runs in a circle is no place to write.
    if (!IsDataBlock(block) || visited[static_cast<size_t>(block)]) return 1;
    visited[static_cast<size_t>(block)] = true;
    for (int n = 0; n < 4 && !ended; ++n) {
      const std::string chunk = NextChunk(file, first, ended);
      first = false;
      const ZskSector s = ZskBlockSector(block, n);
      if (!sides.Put(s.track, s.head, s.sector, chunk)) return 1;
    }
    if (ended) break;
    block = ZskLink(table, block);
    ++used;
  }
  if (!sides.Finish()) return 1;
  file.Close();

  // The chain is cut off the free list, and the design's record goes last.
  SetZskField(table, 2, ZskLink(table, block));
  SetZskField(table, 2 * static_cast<size_t>(block), 0);
  SetZskField(table, 0, freeBlocks - used);
  std::string record = IntToBytes2(number) + IntToBytes2(used) + IntToBytes2(firstBlock) +
                       IntToBytes2(block) + std::string(12, '\0');
  std::vector<std::string> kept;
  for (const ZskRecord& r : records) kept.push_back(r.bytes);
  kept.push_back(record);
  zsk.DirectoryBlock = ZskDirectoryOf(zsk.DirectoryBlock, kept);
  if (ZskWriteTable(shared, table) != 0) return 1;
  if (ZskWriteBlock(shared, zsk.DirectoryBlock, zsk.DirectoryBlockNo) != 0) return 1;
  shared.WrittenName = std::to_string(number);
  return 0;
}

}  // namespace tavlin
