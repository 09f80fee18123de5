#include "services/track_side.h"

#include "services/sector_service.h"

namespace tavlin {

namespace {

uint8_t Byte(int value) { return static_cast<uint8_t>(value); }

}  // namespace

bool ReadSectorOnce(SharedRecord& shared, int track, int head, int sector) {
  shared.CurrentTrack = Byte(track);
  shared.CurrentHead = Byte(head);
  shared.CurrentSector = Byte(sector);
  return ReadSector32(shared.platform, Byte(shared.CurrentDrive), shared.SectorBuffer.data(),
                      shared.SectorBufferLen, Byte(sector), Byte(track), Byte(head)) == kSectorOk;
}

bool WriteSectorOnce(SharedRecord& shared, std::string_view bytes, int track, int head,
                     int sector) {
  shared.SectorBuffer.fill(0);
  std::copy(bytes.begin(), bytes.begin() + std::min<size_t>(bytes.size(), kSmallSectorBytes),
            shared.SectorBuffer.begin());
  shared.CurrentTrack = Byte(track);
  shared.CurrentHead = Byte(head);
  shared.CurrentSector = Byte(sector);
  return WriteSector32(shared.platform, Byte(shared.CurrentDrive), shared.SectorBuffer.data(),
                       shared.SectorBufferLen, Byte(sector), Byte(track), Byte(head)) == kSectorOk;
}

bool ReadSectorTries(SharedRecord& shared, int track, int head, int sector, int attempts) {
  for (int attempt = 0; attempt < attempts; ++attempt) {
    if (ReadSectorOnce(shared, track, head, sector)) return true;
  }
  return false;
}

bool WriteSectorTries(SharedRecord& shared, std::string_view bytes, int track, int head,
                      int sector, int attempts) {
  for (int attempt = 0; attempt < attempts; ++attempt) {
    if (WriteSectorOnce(shared, bytes, track, head, sector)) return true;
  }
  return false;
}

std::string SectorBytes(const SharedRecord& shared) {
  return std::string(reinterpret_cast<const char*>(shared.SectorBuffer.data()),
                     kSmallSectorBytes);
}

bool ReadTrackSide(SharedRecord& shared, int track, int head) {
  for (uint8_t sector : kSectorOrder) {
    if (!ReadSectorTries(shared, track, head, sector, 3)) return false;
    shared.TrackBuffer[sector] = SectorBytes(shared);
    PumpMessages(shared.platform);
  }
  return true;
}

bool WriteTrackSide(SharedRecord& shared, int track, int head) {
  bool written = true;
  for (uint8_t sector : kSectorOrder) {
    const std::string& piece = shared.TrackBuffer[sector];
    if (piece.empty()) continue;
    if (!WriteSectorTries(shared, piece, track, head, sector, 3)) {
      written = false;
      break;
    }
    PumpMessages(shared.platform);
  }
  for (std::string& slot : shared.TrackBuffer) slot.clear();
  return written;
}

}  // namespace tavlin
