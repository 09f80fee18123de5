// Tracks as a floppy controller lays them, cell by cell (IBM MFM), and the HFE
// container of the HxC emulators that holds such tracks. An HFE file is what an
// emulator plays to the machine bit for bit, so it carries the gaps, sync marks,
// address marks and CRCs that a raw sector image leaves out.
#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace tavlin {

// CRC-16-CCITT (polynomial 0x1021), continuing from `crc`; a record's CRC starts at
// 0xFFFF and runs over its three A1 syncs, its mark and its fields.
uint16_t CrcCcitt(std::span<const uint8_t> bytes, uint16_t crc = 0xFFFF);

// One sector as it stands on a track: its ID field and its data.
struct MfmSector {
  uint8_t cylinder = 0;
  uint8_t head = 0;
  uint8_t id = 0;
  uint8_t sizeCode = 0;  // data of 128 << sizeCode bytes
  std::string data;      // raw bytes
};

// The byte counts of a track's gaps, in data bytes (each 16 cells).
struct MfmTrackLayout {
  int trackBytes = 6250;  // a side at 250 kbit/s and 300 rpm
  int gap4a = 80;
  int gap1 = 50;
  int gap2 = 22;
  int gap3 = 0;
  int syncZeros = 12;
};

// The gap 3 that spreads the sectors evenly over the track (0 when they don't fit).
int EvenGap3(int sectors, int sectorBytes, int trackBytes);
// The layout of a track of that many sectors, with the gap 3 that fills it evenly.
MfmTrackLayout TrackLayoutFor(int sectors, int sectorBytes, int trackBytes);

// Encodes one track side with the sectors in the order given (their places on the
// track). The cells come as bytes, the first cell in bit 0 of the first byte, as HFE
// keeps them: trackBytes * 2 bytes. Sectors that overrun the track are cut at its end.
std::vector<uint8_t> EncodeMfmTrack(std::span<const MfmSector> sectors, const MfmTrackLayout& layout);

// A sector found on a track: where each record's CRC failed, its flag says so. A
// sector whose ID field is damaged is listed with no data.
struct MfmSectorRead {
  MfmSector sector;
  bool idCrcOk = false;
  bool dataFound = false;
  bool dataCrcOk = false;
  bool deleted = false;  // written with the deleted data mark (0xF8)
};

// Finds every sector of a track side by its ID field, whatever its place, as a
// controller does: sync, ID mark, fields and CRC, then the data mark that follows.
// `cells` holds `cellCount` cells in HFE's bit order.
std::vector<MfmSectorRead> DecodeMfmTrack(std::span<const uint8_t> cells, size_t cellCount);

// An HFE file, version 1: its header fields and the cells of each side of each
// cylinder.
struct HfeImage {
  int bitRateKbps = 250;
  int rpm = 300;
  uint8_t interfaceMode = 0;  // 0 IBM PC double density, 1 high density, 7 generic Shugart
  int sides = 2;
  // Per cylinder, per side: the cells, as EncodeMfmTrack gives them.
  std::vector<std::array<std::vector<uint8_t>, 2>> cylinders;
};

constexpr uint8_t kHfeInterfaceIbmPcDd = 0x00;
constexpr uint8_t kHfeInterfaceIbmPcHd = 0x01;

// The bytes of the file.
std::string WriteHfe(const HfeImage& image);
// Reads an HFE file's bytes; false, with the reason in `why`, for anything that isn't a
// whole version 1 MFM file.
bool ReadHfe(std::string_view bytes, HfeImage& image, std::string& why);

}  // namespace tavlin
