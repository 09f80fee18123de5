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
  for (uint8_t sector : kTrackSideOrder) {
    if (!ReadSectorTries(shared, track, head, sector, 3)) return false;
    shared.TrackBuffer[sector] = SectorBytes(shared);
    PumpMessages(shared.platform);
  }
  return true;
}

bool WriteTrackSide(SharedRecord& shared, int track, int head) {
  bool written = true;
  for (uint8_t sector : kTrackSideOrder) {
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

bool TrackSideWriter::Put(int track, int head, int sector, std::string piece) {
  if ((track != track_ || head != head_) && track_ >= 0 && !WriteTrackSide(shared_, track_, head_)) {
    return false;
  }
  track_ = track;
  head_ = head;
  shared_.TrackBuffer[static_cast<size_t>(sector)] = std::move(piece);
  return true;
}

bool TrackSideWriter::Finish() { return track_ < 0 || WriteTrackSide(shared_, track_, head_); }

const std::string* TrackSideReader::Get(int track, int head, int sector) {
  if (track != track_ || head != head_) {
    track_ = track;
    head_ = head;
    if (!ReadTrackSide(shared_, track, head)) return nullptr;
  }
  std::string& piece = shared_.TrackBuffer[static_cast<size_t>(sector)];
  piece.resize(256, '\0');
  return &piece;
}

SidePass ReadSideImage(SharedRecord& shared, int track, int head, const SectorOrder& order,
                       std::string& image,
                       const std::function<bool(const std::string& first)>& accept) {
  image.clear();
  for (size_t n = 0; n < order.size(); ++n) {
    // The first sector gets a fourth attempt: the drive may still be settling.
    if (!ReadSectorTries(shared, track, head, order[n], n == 0 ? 4 : 3)) {
      return SidePass::SectorFailed;
    }
    image += SectorBytes(shared);
    if (n == 0 && accept && !accept(image)) return SidePass::Refused;
  }
  return SidePass::Read;
}

bool WriteSideImage(SharedRecord& shared, const std::string& image, int track, int head,
                    const SectorOrder& order, bool pumpEachSector) {
  for (size_t n = 0; n < order.size(); ++n) {
    if (!WriteSectorTries(shared, image.substr(n * 256, 256), track, head, order[n], 3)) {
      return false;
    }
    if (pumpEachSector) PumpMessages(shared.platform);
  }
  return true;
}

}  // namespace tavlin
