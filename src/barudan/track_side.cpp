#include "barudan/track_side.h"

#include "services/sector_service.h"

namespace tavlin {

namespace {

uint8_t Byte(int value) { return static_cast<uint8_t>(value); }

}  // namespace

bool ReadSectorTries(SharedRecord& shared, int track, int head, int sector, int attempts) {
  for (int attempt = 0; attempt < attempts; ++attempt) {
    if (ReadSector32(shared.platform, Byte(shared.CurrentDrive), shared.SectorBuffer.data(),
                     shared.SectorBufferLen, Byte(sector), Byte(track), Byte(head)) == kSectorOk) {
      return true;
    }
  }
  return false;
}

bool WriteSectorTries(SharedRecord& shared, std::string_view bytes, int track, int head,
                      int sector, int attempts) {
  shared.SectorBuffer.fill(0);
  std::copy(bytes.begin(), bytes.begin() + std::min<size_t>(bytes.size(), kBarudanSectorBytes),
            shared.SectorBuffer.begin());
  for (int attempt = 0; attempt < attempts; ++attempt) {
    if (WriteSector32(shared.platform, Byte(shared.CurrentDrive), shared.SectorBuffer.data(),
                      shared.SectorBufferLen, Byte(sector), Byte(track), Byte(head)) == kSectorOk) {
      return true;
    }
  }
  return false;
}

std::string SectorBytes(const SharedRecord& shared) {
  return std::string(reinterpret_cast<const char*>(shared.SectorBuffer.data()),
                     kBarudanSectorBytes);
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

std::string ThousandsText(int64_t value) {
  if (value == 0) return "";
  std::string digits = std::to_string(value < 0 ? -value : value);
  for (int at = static_cast<int>(digits.size()) - 3; at > 0; at -= 3) {
    digits.insert(static_cast<size_t>(at), ",");
  }
  return value < 0 ? "-" + digits : digits;
}

}  // namespace tavlin
