// The drives the disc routines address: drive 0 is A, 1 is B. A drive is bound to a
// raw disc image file or to a host directory; unbound, its sector calls fail and its
// file probes report "disk not ready".
#pragma once

#include <array>
#include <cstdint>
#include <cstdio>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "tavlin/drive.h"

namespace tavlin {

struct Geometry {
  int cylinders = 0;
  int heads = 0;
  int sectors = 0;     // per track side, ids 1..sectors
  int sectorSize = 0;  // bytes
  bool highDensity = false;

  int64_t Bytes() const { return int64_t{cylinders} * heads * sectors * sectorSize; }
};

Geometry GeometryOf(ImageFamily family);
// The geometry a raw image of this many bytes has, if any.
std::optional<Geometry> GeometryFromSize(int64_t bytes);

enum class SectorOp { Read, Write, Format };
// A test hook: answers true for an operation that must fail.
using SectorFault = std::function<bool(SectorOp op, int track, int head, int sector)>;

class FatVolume;

struct DriveBinding {
  enum class Kind { None, Image, Directory };
  Kind kind = Kind::None;
  std::string path;
  Geometry geometry;
  std::shared_ptr<std::FILE> image;  // open while bound
  bool readOnly = false;             // a write-protected disc: the image may only be read
  std::shared_ptr<FatVolume> volume;  // the image's DOS file system, read on first use
  int settleMilliseconds = 0;        // 0 for images and directories
};

// The floppy controller's current mode, which the vector and density calls set.
struct FloppyController {
  int sectorSize = 512;
  bool highDensity = false;
};

struct PlatformState {
  std::array<DriveBinding, 26> drives;
  FloppyController controller;
  SectorFault fault;
  std::function<void()> messagePump;
};

// The binding of a drive number; throws "disk not ready" for a number outside A..Z.
DriveBinding& DriveAt(PlatformState& platform, int drive);

// Binds an image file (which must exist and have a known size, or be given a family).
void BindImage(PlatformState& platform, int drive, const std::string& imagePath,
               ImageFamily family);
void BindDirectory(PlatformState& platform, int drive, const std::string& directory);
void Unbind(PlatformState& platform, int drive);

// Lets the host's message queue run once, where a host has given a pump.
void PumpMessages(const PlatformState& platform);

// The settling wait of a drive, pumping messages: its settle time, 0 for images and
// folders, where the queue runs once.
void SettleWait(PlatformState& platform, int drive);

}  // namespace tavlin
