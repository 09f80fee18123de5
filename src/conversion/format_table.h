// The codec registry: one record per format code, with named fields for everything the
// frame, the design reader, the thread-colour writer and the command ask of a format.
// A new format is a new file under formats/ that defines its record, and a line in
// the registry; nothing outside asks for a format by its code.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "conversion/conversion_run.h"

namespace tavlin {

// The format codes. Only the registry, the records and the frame's pass cases name them.
enum FormatCode : int16_t {
  kCodeRefused = -2,
  kCodeDst = 0,
  kCodeDsb = 1,
  kCodeDsz = 2,
  kCodeKsm = 3,
  kCodeQep = 4,
  kCodeT01 = 5,
  kCodeCnd = 6,
  kCodeExp = 7,
  kCodeQcd = 8,
  kCodeT03 = 9,
  kCode10o = 10,
  kCodeEmnet = 11,
  kCodeVst = 12,
  kCodeXxx = 13,
  kCodeEmd = 14,
  kCodeJef = 15,
  kCodeSew = 16,
  kCodeUFile = 17,
  kCodePes = 18,
  kCodePcm = 19,
  kCodePcs = 20,
  kCodeHus = 21,
  kCodeVip = 22,
  kCodeShv = 23,
  // Not a format of the class: the library reads a standalone PEC file.
  kCodePec = 24,
};

enum class Decoded { Step, NoStep, End };

using DecodeFn = Decoded (*)(ConversionRun&);
using EncodeFn = void (*)(ConversionRun&);
using RunHookFn = void (*)(ConversionRun&);

// The design's size as a source's head gives it before the first record (0.1 mm), for the
// destinations that must know it first: PES, JEF and SEW.
struct DesignSize {
  int16_t DesignHeight = 0, DesignWidth = 0, DesignColours = 0;
  int16_t PlusX = 0, MinusX = 0, PlusY = 0, MinusY = 0;
};
// Reads the size from the head and leaves the file at the start of the stitch data.
using ScanSizeFn = DesignSize (*)(BufferedFile&);

// Where the frame writes a destination's opening record.
enum class Opening {
  None,
  BehindHead,  // behind whatever head the pass start wrote, unless an Emnet source ran
  Always,      // at the end of every pass start
};

// The palette whose indexes a destination stores for its threads.
enum class ThreadPalette { Pes, Jef, Pcm, Hus };

// Where a source keeps its thread colours, for the thread-colour writer and for `info`:
// RGB triples at `threadTable`, palette keys in a head, a table behind the stitches, or a
// file beside it.
enum class ThreadSource { None, Triples, Xxx, EmdColFile, JefKeys, SewKeys, PecKeys, PcmKeys, PcsTable, HusFile };

// What a file's head tells beyond its stitches: the hoop it was made for, its version.
struct HeadFacts {
  std::string hoop;
  std::string version;
};
using DescribeFn = HeadFacts (*)(BufferedFile&);

// Where a source keeps its RGB thread table: the count's offset, the table's offset,
// and where the source is put back once the colours have been read; and, for a
// destination, the most threads its table takes.
struct ThreadTableAt {
  int64_t count = 0;
  int64_t table = 0;
  int64_t resume = 0;
  int16_t capacity = 128;
  bool Present() const { return table != 0; }
};

// The trim record a destination gets in front of the last jumps written, where a DST
// source draws a trim as a run of jumps.
struct DrawnTrim {
  std::string_view record = "";
  int back = 0;  // bytes of the four jumps it goes ahead of
};

struct Codec {
  int16_t code = 0;
  std::string_view fileEnd = "";    // the last three characters of a file name, upper case; empty: none
  std::string_view extension = "";  // what path resolution appends to a drive path
  std::string_view family = "";     // the machine maker's name for it
  std::string_view nameEnd = "";    // how a file of a format without a file end of its own is named
  // Routes that keep a design, which the library API follows and the class doesn't: the
  // formats this one is read only into, and the ones it is written only from, blank-
  // separated ("QEP QCD"). A wrapper reads and writes whole only beside the formats of
  // the text header: others go by way of the records it wraps.
  std::string_view readOnlyInto = "";
  std::string_view writtenOnlyFrom = "";

  DecodeFn decode = nullptr;   // null: not read
  EncodeFn encode = nullptr;   // null: not written
  RunHookFn openSource = nullptr;  // positions a source that has an opening of its own
  RunHookFn writeHead = nullptr;   // a destination head of the format's own
  RunHookFn writeEnd = nullptr;    // the end record and trailer

  bool textHeader = false;  // 512 bytes ahead of the records: a source skips them, a
                            // destination gets spaces there and the text header at the end
  // Every writer closes the stream with an end record: a file that runs out before it
  // was cut short, and holds part of a design.
  bool endsInRecord = false;
  std::string_view openingRecord = "";
  Opening opening = Opening::None;
  DrawnTrim drawnTrim{};

  // A wrapper (T01, T03): the code whose records it holds, and the record its head ends in.
  int16_t wraps = 0;
  std::string_view wrapperOpening = "";
  bool Wrapper() const { return !wrapperOpening.empty(); }
  int64_t maxFileBytes = 0;       // a length field that ends the format's files there; 0: none

  int passes = 1;                 // a PES destination runs the source three times
  bool countsColours = true;      // records per colour are kept for this destination
  bool halvesLongSteps = false;   // a long step becomes two halves of its own kind
  bool namesDesign = false;       // the head carries the host's design name
  bool keepsNeedles = false;      // a source's needle codes are kept, not made colour changes
  bool countsQepOpening = true;   // a QEP source's opening record counts as a stitch
  bool drawsTrimsAsJumps = false; // a run of five jumps in the source stands for a trim
  // CND: read only into QEP and QCD and written only from them; the codec works from the
  // QEP record itself, so the frame neither moves, splits nor turns its steps.
  bool carriesQepRecords = false;
  // QEP, QCD and CND keep the machine function codes of CND; other formats would sew them.
  bool keepsFunctionCodes = false;

  bool designService = false;     // HUS, SHV: only the design-file service reads and writes them
  bool threadBytes = false;       // HUS: a zero and a palette index per thread from offset 41
  ThreadTableAt threadTable{};       // a source's RGB thread table
  ThreadPalette palette = ThreadPalette::Pes;  // a destination's palette
  ScanSizeFn scanSize = nullptr;     // a source whose head gives the design's size (QEP, VST)
  ThreadSource threadSource = ThreadSource::None;
  DescribeFn describeHead = nullptr; // a head that names a hoop or a version (PES, JEF)

  // A PES source whose PEC head places the first stitch away from the centre hands that
  // start over as a first step to write at once (VST), not as a position alone.
  bool takesStartStep = false;
  // A format the class's names never give (it reads such a name as refused): only the
  // library reads it (PEC).
  bool libraryOnly = false;
  // Its writer keeps a trim as a trim, or as the jumps or drop that stand for one. The
  // class sews a trim as a stitch of no length in the others; the library moves it as a
  // jump there, so that no needle is added to the design.
  bool writesTrims = false;

  // What people call it: the file end; where there is none, how its names end ("U01"), or
  // its family where the end is blanks ("Emnet").
  std::string_view Name() const {
    if (fileEnd.empty() && nameEnd.size() > 1 && nameEnd[0] == '.') return nameEnd.substr(1);
    return fileEnd.empty() || fileEnd == "   " ? family : fileEnd;
  }

  // Whether this build reads or writes it (a wrapper as the records it holds).
  bool Reads() const;
  bool Writes() const;
};

// The record of a code; a code no format has gives the record of refused names.
const Codec& CodecOf(int16_t code);
// The record of a code, or null for a code no format has.
const Codec* FindCodec(int16_t code);

// Every record, in code order, the refused name's first.
const Codec* const* CodecsBegin();
const Codec* const* CodecsEnd();

// The record of refused names, which reads three-byte steps of no movement and writes
// zero records: a destination that asks nothing of the decoders.
const Codec& RefusedNameCodec();

// A format a host can name: the record of refused names is not one.
bool IsNamedFormat(const Codec& codec);
// Whether a run from one code to the other has a reader and a writer in this build,
// a wrapper counting as the records it holds.
bool CanConvert(int16_t sourceType, int16_t destType);

// The formats a design passes through from one format to another so that it arrives
// whole, source first and destination last; empty when no route keeps it, with `why`
// saying what would work.
std::vector<int16_t> RouteOf(int16_t sourceType, int16_t destType, std::string& why);

// The size a source's head gives, and the file left at its stitch data; a source whose
// head gives none gives zeros and its file doesn't move.
DesignSize ScanDesignSize(BufferedFile& source, int16_t sourceType);

// The code for a file name by its last three characters; -2 for a refused one.
int16_t FindFormatCode(std::string_view fileName);
// The same as a reading gives it: the class's names (`asOtherProgramsDo` false) know
// none of the formats only the library reads.
int16_t FindFormatCode(std::string_view fileName, bool asOtherProgramsDo);

// A stitch file's path with the format its name gives, resolved once where the path
// enters (the command, a library call, a disc routine) and passed on with its codec, so
// that nothing below turns the name back into a format.
struct StitchFile {
  std::string path;
  const Codec* codec = nullptr;
  int16_t Code() const { return codec->code; }
};
StitchFile ResolveStitchFile(std::string path, bool asOtherProgramsDo = true);

// A path with a drive letter gets its format's extension, unless it has it already
// (in any case) or is a working ".TMP" file; any other path stays as it is.
std::string ResolvePath(const std::string& path, int16_t code);

}  // namespace tavlin
