// Errors of the library API as std::error_code. Two categories: the numbered results
// and run-time failures that conversions and DOS discs give (6 overflow, 53 file not
// found, -100 hoop too small ...), and what a disc operation can fail for beyond them.
#pragma once

#include <string>
#include <system_error>

namespace tavlin {

// A numbered result or run-time code; 0 gives no error.
const std::error_category& ResultCategory();
std::error_code ResultCode(int code);

// The words for a numbered code, e.g. "disk not ready".
std::string ResultText(int code);

enum class DiscErrc {
  NotThisFamily = 1,   // the disc's signature or layout is not the family's
  SectorFailed,        // a sector could not be read or written
  NoFormat,            // the design's name names no format this disc can take
  NoNumberLeft,        // every design number is taken
  NoRoom,              // the design does not fit the free room
  DirectoryFull,       // the disc's directory has no entry left for the design
  NoSuchDesign,        // the name or line names no design on the disc
  NoFamily,            // the disc can be read as no family
  NoGeometry,          // the disc can't be read at any of the tried geometries
  DriveNotReady,       // no image or folder behind the drive
  NotHandled,          // the family does not do this
  WriteProtected,      // the image or folder may only be read
  NotShortName,        // a DOS disc takes names of up to 8 characters, a dot and up to 3
  NameTaken,           // a design of that name is on the disc already
  BadName,             // the name holds what the disc can't keep: ASCII letters, digits and signs only
  InUse,               // another program works on the disc: it is locked
  Damaged,             // the disc's structures are damaged (Disc::Damage says how): nothing is written
  DesignDamaged,       // the design's own blocks or chain are damaged: it can't be read whole
};

const std::error_category& DiscCategory();
std::error_code make_error_code(DiscErrc e);

enum class ConvertErrc {
  NoRoute = 1,      // no conversion between the two formats keeps the design
  FunctionRecords,  // the design holds CND's machine functions, which the destination would sew
  UnsoundSource,    // the source is empty, cut short or not of its format (WhySourceUnsound says how)
};

const std::error_category& ConvertCategory();
std::error_code make_error_code(ConvertErrc e);

}  // namespace tavlin

template <>
struct std::is_error_code_enum<tavlin::DiscErrc> : std::true_type {};
template <>
struct std::is_error_code_enum<tavlin::ConvertErrc> : std::true_type {};
