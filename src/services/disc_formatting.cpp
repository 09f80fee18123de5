#include "services/disc_formatting.h"

#include <array>
#include <vector>

#include "conversion/numbers.h"
#include "services/design_file_service.h"
#include "services/sector_service.h"

namespace tavlin {

namespace {

constexpr int kTracks = 80;  // whatever the kind: FMC's tracks 80 and 81 stay as they were

struct SectorWrite {
  int head;
  int sector;
  std::string bytes;
  int attempts;  // 1: written once, and its result not looked at
};

std::string Padded(std::string bytes, size_t size, char fill) {
  bytes.resize(size, fill);
  return bytes;
}

std::string FatSector() { return Padded("\xF9\xFF\xFF", 512, '\0'); }

std::string BootSector() { return Padded(BuildBootSector(), 512, '\0'); }

// The empty file system of a DOS disc, all on track 0, in the order it is written.
std::vector<SectorWrite> DosStructures() {
  std::vector<SectorWrite> writes = {{0, 1, BootSector(), 4}, {0, 5, FatSector(), 4},
                                     {0, 2, FatSector(), 4}};
  for (int sector : {3, 4, 6, 7, 8, 9}) writes.push_back({0, sector, std::string(512, '\0'), 1});
  for (int sector = 1; sector <= 6; ++sector) writes.push_back({1, sector, std::string(512, '\0'), 1});
  return writes;
}

uint8_t Byte(int value) { return static_cast<uint8_t>(value); }

bool WriteTries(SharedRecord& shared, int track, const SectorWrite& write) {
  std::array<uint8_t, kSectorBufferBytes> buffer{};
  std::copy(write.bytes.begin(), write.bytes.end(), buffer.begin());
  for (int attempt = 0; attempt < write.attempts; ++attempt) {
    if (WriteSector32(shared.platform, Byte(shared.CurrentDrive), buffer.data(),
                      static_cast<int16_t>(buffer.size()), Byte(write.sector), Byte(track),
                      Byte(write.head)) == kSectorOk) {
      return true;
    }
  }
  return write.attempts == 1;
}

// The empty structures of a family, and the track they go on.
struct FileSystem {
  int track;
  std::vector<SectorWrite> writes;
};

std::vector<FileSystem> EmptyFileSystem(int16_t kind) {
  switch (kind) {
    case kFloppyFmc: {
      std::string entry0 = std::string(1, '\0') + "FILE    DIR" + std::string(3, '\0') + "\x09\x01";
      entry0 = Padded(entry0, 32, '\0');
      return {{2, {{0, 1, Padded(entry0, 256, '\xE5'), 3},
                   {1, 1, std::string(256, ' '), 3},
                   {1, 4, std::string(256, ' '), 3},
                   {1, 7, std::string(256, ' '), 3},
                   {1, 10, std::string(256, ' '), 3},
                   {1, 13, std::string(128, ' ') + std::string(128, '\xE5'), 3}}}};
    }
    case kFloppyFdr3: {
      FileSystem directory{40, {}};
      for (int sector = 1; sector <= 16; ++sector) {
        directory.writes.push_back({0, sector, std::string(256, '\xFF'), 3});
      }
      return {directory};
    }
    case kFloppyZsk: {
      const std::string label = Padded(std::string("ZSK-DISK  KS\x01") + std::string(3, '\0') +
                                           std::string("\x01\x00\x01", 3),
                                       256, '\0');
      // The block table: its head, then the free chain 10, 11, ... 639, 0.
      std::string table("\x77\x02\x09\x00\x7F\x02\x01\x00\x08\x00\x08\x00", 12);
      table += std::string(6, '\0');
      for (int block = 10; block <= 639; ++block) table += IntToBytes2(block);
      table += IntToBytes2(0);
      FileSystem track0{0, {{0, 11, label, 3}}};
      for (int piece = 0; piece < 5; ++piece) {
        track0.writes.push_back({0, 12 + piece, table.substr(static_cast<size_t>(piece) * 256, 256), 3});
      }
      const std::string directory = Padded(std::string("\x00\x40\x06", 3), 256, '\0');
      return {track0, {1, {{0, 1, directory, 3}}}};
    }
    default: return {{0, DosStructures()}};
  }
}

}  // namespace

std::string BuildBootSector() {
  std::string boot("\xEB\x28\x90", 3);
  boot += "BRISK v1";
  boot += IntToBytes2(512);
  boot += '\x02';
  boot += IntToBytes2(1);
  boot += '\x02';
  boot += IntToBytes2(112);
  boot += IntToBytes2(1440);
  boot += '\xF9';
  boot += IntToBytes2(3);
  boot += IntToBytes2(9);
  boot += IntToBytes2(2);
  boot += std::string(14, '\0');
  // Prints the message at 0x5C through the BIOS, waits for a key, and boots again.
  static constexpr uint8_t kStartCode[50] = {
      0xFA, 0x33, 0xC0, 0x8E, 0xD0, 0xBC, 0xF0, 0x7B, 0xFB, 0xB8, 0xC0, 0x07, 0x8E,
      0xD8, 0xBE, 0x5C, 0x00, 0x90, 0x90, 0xFC, 0xAC, 0x0A, 0xC0, 0x74, 0x0B, 0x56,
      0xB4, 0x0E, 0xBB, 0x07, 0x00, 0xCD, 0x10, 0x5E, 0xEB, 0xF0, 0x32, 0xE4, 0xCD,
      0x16, 0xB4, 0x0F, 0xCD, 0x10, 0x32, 0xE4, 0xCD, 0x10, 0xCD, 0x19};
  boot.append(reinterpret_cast<const char*>(kStartCode), sizeof kStartCode);
  auto lines = [](int n) {
    std::string ends;
    for (int i = 0; i < n; ++i) ends += "\r\n";
    return ends;
  };
  std::string message = lines(8) + std::string(30, ' ') + "Hey Dude, Yes You!" + lines(2) +
                        std::string(26, ' ') + "This Disc Ain't A Boot Disc" + lines(2) +
                        std::string(23, ' ') + "So Take It Out And Press Any Key." + lines(5) +
                        std::string(23, ' ') + "May The Force Be With You Brisk 1" + lines(3) +
                        "Tarnwick Software.";
  boot += Padded(message, 271, '\0');
  return Padded(boot, 500, '\0');
}

int16_t FormatFloppy(SharedRecord& shared, int16_t kind) {
  shared.CurrentTrack = 0;
  shared.CurrentHead = 0;
  shared.CurrentSector = 1;
  shared.SectorBuffer.fill(0);
  shared.SectorBufferLen = static_cast<int16_t>(kSectorBufferBytes);
  uint8_t sizeCode = 0;
  if (shared.PlatformId == 1) {
    if (kind == kFloppyDos) {
      SetVector51232(shared.platform);
      sizeCode = 2;
    } else {
      SetVector25632(shared.platform);
      sizeCode = 1;
    }
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
      if (!formatted) return 1;
      PumpMessages(shared.platform);
    }
  }
  for (const FileSystem& part : EmptyFileSystem(kind)) {
    for (const SectorWrite& write : part.writes) {
      if (!WriteTries(shared, part.track, write)) return 1;
    }
  }
  return 0;
}

bool FormatDos720(SharedRecord& shared) {
  bool opened = false;
  for (int attempt = 0; attempt < 3 && !opened; ++attempt) opened = OpenDisk(shared, 1) != 0;
  if (!opened || FormatDSDD(shared) == 0) return false;
  for (const SectorWrite& write : DosStructures()) {
    bool written = false;
    const int attempts = write.attempts == 4 ? 3 : 1;
    for (int attempt = 0; attempt < attempts && !written; ++attempt) {
      written = WriteDiskV(shared, 0, static_cast<int16_t>(write.sector),
                           static_cast<int16_t>(write.head),
                           reinterpret_cast<const uint8_t*>(write.bytes.data())) != 0;
    }
    if (!written && write.attempts == 4) return false;
  }
  CloseDisk(shared);
  return true;
}

}  // namespace tavlin
