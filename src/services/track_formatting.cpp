#include "services/track_formatting.h"

#include <algorithm>
#include <array>

#include "services/sector_service.h"

namespace tavlin {

namespace {

constexpr int kTracks = 80;  // whatever the family: FMC's tracks 80 and 81 stay as they were

uint8_t Byte(int value) { return static_cast<uint8_t>(value); }

}  // namespace

bool FormatTracks(SharedRecord& shared, int sectorBytes) {
  shared.CurrentTrack = 0;
  shared.CurrentHead = 0;
  shared.CurrentSector = 1;
  shared.SectorBuffer.fill(0);
  shared.SectorBufferLen = static_cast<int16_t>(kSectorBufferBytes);
  uint8_t sizeCode = 0;
  if (shared.PlatformId == 1) {
    if (sectorBytes == 512) {
      SetVector51232(shared.platform);
    } else {
      SetVector25632(shared.platform);
    }
    sizeCode = SizeCodeOf(sectorBytes);
  }
  SetDiscDSDD32(shared.platform);
  const auto drive = static_cast<uint8_t>(shared.CurrentDrive);
  for (int track = 0; track < kTracks; ++track) {
    for (int head = 0; head < 2; ++head) {
      FillAddressTable(shared.SectorBuffer.data(), Byte(track), Byte(head), sizeCode);
      bool formatted = false;
      for (int attempt = 0; attempt < 3 && !formatted; ++attempt) {
        formatted = FormatTrack32(shared.platform, drive, shared.SectorBuffer.data(),
                                  shared.SectorBufferLen, Byte(track), Byte(head),
                                  sizeCode) == kSectorOk;
      }
      if (!formatted) return false;
      PumpMessages(shared.platform);
    }
  }
  return true;
}

bool WriteFormattedSector(SharedRecord& shared, int track, int head, int sector,
                          const std::string& bytes, int attempts) {
  std::array<uint8_t, kSectorBufferBytes> buffer{};
  std::copy(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(std::min(bytes.size(), buffer.size())),
            buffer.begin());
  for (int attempt = 0; attempt < attempts; ++attempt) {
    if (WriteSector32(shared.platform, Byte(shared.CurrentDrive), buffer.data(),
                      static_cast<int16_t>(buffer.size()), Byte(sector), Byte(track),
                      Byte(head)) == kSectorOk) {
      return true;
    }
  }
  return attempts == 1;
}

}  // namespace tavlin
