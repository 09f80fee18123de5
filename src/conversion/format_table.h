// The format table: for each format code, its file-name end and extension, and the
// rules that read and write it. The driver dispatches through it; a new format is a
// new file under formats/ and a row here.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "conversion/conversion_run.h"

namespace tavlin {

enum class Decoded { Step, NoStep, End };

using DecodeFn = Decoded (*)(ConversionRun&);
using EncodeFn = void (*)(ConversionRun&);
using RunHookFn = void (*)(ConversionRun&);

struct FormatRow {
  int16_t code;
  const char* fileEnd;    // the last three characters of a file name, in upper case
  const char* extension;  // what path resolution appends
  const char* family;
  DecodeFn decode;        // null: not read
  EncodeFn encode;        // null: not written
  RunHookFn openSource;   // positions a source that has an opening of its own
  RunHookFn writeHead;    // a destination head of the format's own
  RunHookFn writeEnd;     // the end record and trailer
  bool sourceHeader512;   // a source starts with a 512-byte header that is skipped
  bool destHeader512;     // a destination gets 512 spaces, the place of the text header
  bool textHeader;        // the text header of the DST family is written at the end
  std::string_view openingRecord;  // written behind the head
  std::string_view drawnTrim;      // the trim record inserted for a run of DST jumps
  int drawnTrimBack;               // bytes of the four jumps it goes ahead of
};

// The row of a code, or null for a code no format has.
const FormatRow* FindFormatRow(int16_t code);
// All rows, in code order.
const FormatRow* FormatRowsBegin();
const FormatRow* FormatRowsEnd();

// The code for a file name by its last three characters; -2 for a refused one.
int16_t FindFormatCode(std::string_view fileName);

// A path with a drive letter gets its format's extension, unless it has it already
// (in any case) or is a working ".TMP" file; any other path stays as it is.
std::string ResolvePath(const std::string& path, int16_t code);

}  // namespace tavlin
