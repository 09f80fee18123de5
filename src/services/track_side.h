// What the disc families of 256-byte sectors share (FMC, FDR3, ZSK): sectors taken in
// an interleave order, a track side at a time through TrackBuffer, and single sectors
// with a number of attempts.
#pragma once

#include <array>
#include <functional>
#include <cstdint>
#include <string>
#include <string_view>

#include "state/shared_record.h"

namespace tavlin {

constexpr int kSmallSectorBytes = 256;

// The order in which the track-side routines walk the sectors of a side.
constexpr std::array<uint8_t, 16> kTrackSideOrder = {1, 4, 7, 10, 13, 16, 3, 6,
                                                 9, 12, 15, 2, 5, 8, 11, 14};

// One attempt at one sector, into SectorBuffer; true when it came.
bool ReadSectorOnce(SharedRecord& shared, int track, int head, int sector);
// One attempt to write 256 bytes to one sector; true when they went.
bool WriteSectorOnce(SharedRecord& shared, std::string_view bytes, int track, int head, int sector);

// Reads one sector into SectorBuffer, with this many attempts; true when it came.
bool ReadSectorTries(SharedRecord& shared, int track, int head, int sector, int attempts);
// Writes 256 bytes to one sector, with this many attempts; true when they went.
bool WriteSectorTries(SharedRecord& shared, std::string_view bytes, int track, int head,
                      int sector, int attempts);
// The first 256 bytes of SectorBuffer.
std::string SectorBytes(const SharedRecord& shared);

// Moves one track side between the disc and TrackBuffer (slots 1 to 16 by sector),
// sectors in the interleave order, three attempts each, pumping the host's queue after
// each sector. Reading stops at a third failure and leaves the later slots as they
// were; writing skips empty slots and empties all 16 whatever happens. Both answer
// whether every sector went through.
bool ReadTrackSide(SharedRecord& shared, int track, int head);
bool WriteTrackSide(SharedRecord& shared, int track, int head);

// Sectors gathered a track side at a time: putting a sector of another side first sends
// the side gathered so far; Finish sends the last. False once a side has failed.
class TrackSideWriter {
 public:
  // A read before leaves its side's sectors in the shared buffer: written out with this
  // side's, they would land on sectors of another design.
  explicit TrackSideWriter(SharedRecord& shared) : shared_(shared) {
    for (std::string& slot : shared_.TrackBuffer) slot.clear();
  }
  bool Put(int track, int head, int sector, std::string piece);
  bool Finish();

 private:
  SharedRecord& shared_;
  int track_ = -1, head_ = -1;
};

// Sectors taken a track side at a time: the side is read when a sector of another side
// is asked for. Null once a side can't be read.
class TrackSideReader {
 public:
  explicit TrackSideReader(SharedRecord& shared) : shared_(shared) {}
  // The sector's 256 bytes.
  const std::string* Get(int track, int head, int sector);

 private:
  SharedRecord& shared_;
  int track_ = -1, head_ = -1;
};

using SectorOrder = std::array<uint8_t, 16>;

// A directory held as a whole track side: the 16 sectors in the family's order make
// one 4096-byte image. The first sector gets four attempts, the others three; a check
// of the first sector may refuse the disc before the rest is read.
enum class SidePass { Read, SectorFailed, Refused };
SidePass ReadSideImage(SharedRecord& shared, int track, int head, const SectorOrder& order,
                       std::string& image,
                       const std::function<bool(const std::string& first)>& accept = {});
// Writes the image back, three attempts a sector, pumping the host's queue after each
// when asked; false at the first sector that fails.
bool WriteSideImage(SharedRecord& shared, const std::string& image, int track, int head,
                    const SectorOrder& order, bool pumpEachSector);

}  // namespace tavlin
