// The table of disc families: one record each, saying all that the class, formatting,
// identification and the command need to know of a family. A new family is a folder of
// its own and a row of the table.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "state/shared_record.h"
#include "tavlin/drive.h"
#include "tavlin/tavlin.h"

namespace tavlin {

enum class DiscFamilyId { Fmc, Fdr3, Zsk, Dos };

// A sector of an empty disc's file system, in the order formatting writes them.
struct LayoutWrite {
  int track;
  int head;
  int sector;
  std::string bytes;
  int attempts;  // 1: written once, and its result not looked at
};

// The listing of the disc in the drive: the result codes of the family's listing.
using ListFn = int16_t (*)(SharedRecord& shared);
// A host's stitch file onto the disc; `destFile` is the name on the disc where the
// family has names of the host's.
using WriteFn = int16_t (*)(SharedRecord& shared, const std::string& sourceFile,
                            const std::string& destFile);
// A design off the disc by its entry of the last listing (from 1), or by its name where
// the family's designs are files.
using ReadFn = int16_t (*)(SharedRecord& shared, int entry, const std::string& sourceName,
                           const std::string& destName);
using DeleteFn = int16_t (*)(SharedRecord& shared, int entry, const std::string& fileName);
// Whether the disc in the drive is of the family; asked after identification has found
// the disc readable at the family's sector size.
using ProbeFn = bool (*)(SharedRecord& shared);
// The stitches a write would take now, by the write's own test of the room, after the
// family's listing: the figure the library API shows, which the next write keeps.
using RoomFn = int64_t (*)(SharedRecord& shared);
using EmptyLayoutFn = std::vector<LayoutWrite> (*)();

// What a check of a disc's structures found, as fsck would.
struct DiscProblem {
  int line = -1;     // the listing line (from 0, slot 1 is line 0) of the design it damages; -1: the disc as a whole
  std::string text;  // what is wrong, one line in words, e.g. "A01.DAT and A03.DAT share block 12"
};
struct DiscReport {
  bool claimed = false;  // the family's own signature stands: this is the family's disc, whole or damaged
  std::vector<DiscProblem> problems;  // empty: sound
};
// Run right after the family's `list` (whatever that answered) on the same record, with
// the controller set as for the family's list; reads what else it needs, never writes.
using CheckFn = DiscReport (*)(SharedRecord& shared);

struct DiscFamilyRecord {
  DiscFamilyId id;
  std::string_view name;    // as the command names it
  FormatT formatType;       // as the class names it
  ImageFamily geometry;     // the image it is formatted at
  int sectorBytes;          // 256 or 512
  bool sectorAccess;        // its routines steer the controller sector by sector
  // The stitch format a read delivers whatever the destination's name; empty where the
  // destination's name says.
  std::string_view deliversAs;
  EmptyLayoutFn emptyLayout;
  ListFn list;
  WriteFn write;
  ReadFn read;
  DeleteFn remove;
  // Null for the family a disc of its sector size is when no other family's probe
  // claims it.
  ProbeFn probe;
  RoomFn room;
  CheckFn check = nullptr;
  // How the library API lays an empty disc of the family on a zeroed image, where that
  // differs from the class's formatting (null: the same); high density where it has one.
  int16_t (*formatSound)(SharedRecord& shared, bool highDensity) = nullptr;
};

// Every family, in the order identification asks their probes.
std::span<const DiscFamilyRecord* const> DiscFamilyRecords();

const DiscFamilyRecord& DiscFamilyById(DiscFamilyId id);
// The family of the class's format type, or null for a type that names none.
const DiscFamilyRecord* DiscFamilyByFormatType(int32_t formatType);
// The family of the command's name ("fmc", "fdr3", "zsk", "dos"), or null.
const DiscFamilyRecord* DiscFamilyByName(std::string_view name);

}  // namespace tavlin
