// The empty file system of a 720 KB DOS disc: boot sector, two FATs, the root.
#include <cstdint>

#include "conversion/numbers.h"
#include "discs/dos/dos_disc.h"

namespace tavlin {

namespace {

std::string Padded(std::string bytes, size_t size) {
  bytes.resize(size, '\0');
  return bytes;
}

std::string FatSector() { return Padded("\xF9\xFF\xFF", 512); }

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
  boot += Padded(message, 271);
  return Padded(boot, 500);
}

std::vector<LayoutWrite> DosEmptyLayout() {
  // The boot sector and the FATs must go (four tries); the rest is written once.
  std::vector<LayoutWrite> writes = {{0, 0, 1, Padded(BuildBootSector(), 512), 4},
                                     {0, 0, 5, FatSector(), 4},
                                     {0, 0, 2, FatSector(), 4}};
  for (int sector : {3, 4, 6, 7, 8, 9}) writes.push_back({0, 0, sector, std::string(512, '\0'), 1});
  for (int sector = 1; sector <= 6; ++sector) writes.push_back({0, 1, sector, std::string(512, '\0'), 1});
  return writes;
}

}  // namespace tavlin
