// The running state of one conversion: the in-flight step and every counter that the
// frame and the format rules share. It lives for one call of ConvertStitchFile.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <string>

#include "conversion/buffered_file.h"
#include "conversion/formats/pes_state.h"
#include "platform/drives.h"
#include "tavlin/design.h"
#include "tavlin/progress.h"

namespace tavlin {

struct Codec;
struct JanomeWriter;
struct HusReading;
struct HusWriting;

// The step kinds as the frame's 16-bit fields hold them: the public StepKind's values.
constexpr int16_t KindOf(StepKind kind) { return static_cast<int16_t>(kind); }
enum StepKindCode : int16_t {
  KindStitch = KindOf(StepKind::Stitch),
  KindJump = KindOf(StepKind::Jump),
  KindColour = KindOf(StepKind::ColourChange),
  KindMark = KindOf(StepKind::Mark),
  KindTrim = KindOf(StepKind::Trim),
  KindNeedle = KindOf(StepKind::Needle),  // 23 to 30: a colour change that names a needle
  KindSeven = KindOf(StepKind::Seven),
};

// A colour change that names a needle (23 to 30), and any colour change.
constexpr bool IsNeedleKind(int16_t kind) { return kind >= KindNeedle && kind <= KindNeedle + 7; }
constexpr bool ChangesColourKind(int16_t kind) { return kind == KindColour || IsNeedleKind(kind); }

// What a conversion takes from its caller, and what it hands back: the files it opens
// are reached through the platform, and nothing else of the caller's state is seen.
struct ConversionSettings {
  explicit ConversionSettings(PlatformState& files) : platform(files) {}

  PlatformState& platform;
  int16_t MaxStitchLength = 50;
  // On for a three-pass destination and turned off by its second pass; the caller's
  // value when the run ends.
  bool PESAbosulteFlag = false;
  std::string DesignName;       // the host's last destination name, for a head that names it
  // The design's own file where the run reads a working file of a route: a text
  // header's label names the design, not the working file. Empty: the run's source.
  std::string LabelSource;
  std::string LabelDest;  // the destination the tag names, where the run writes a working file
  Progress* progress = nullptr; // without one the run stops with 91
  std::string HoopSizeText;     // out: the hoop a destination chose
  // Out: the library turned the design a quarter to fit the destination's hoop (PES),
  // which the file records; read back, the design lies as it did.
  bool TurnedToFit = false;
  // The run reads and writes files as other programs do where they differ from the
  // reference: decoders also take the layouts other programs write, and writers leave
  // out what other readers would sew as stray stitches. The library API and the command
  // ask for it; the class keeps the reference, quirks included.
  bool AsOtherProgramsDo = false;
  // What the last DOS read left for the thread-colour writer: the disc file the source
  // was copied from (an EMD's COL file lies beside it), and the HUS file whose threads
  // a run from its DST go-between takes. Empty: none.
  std::string LastDosReadName;
  std::string HusSourceName;
};

struct StitchStep {
  int16_t StepX = 0;
  int16_t StepY = 0;  // up positive
  int16_t StepKind = KindStitch;
};

// What a pass over the source starts afresh: a PES destination runs the source three
// times, and each pass begins from these values.
struct PassCounters {
  StitchStep step;

  double PosX = 0, PosY = 0;  // PosY grows downward
  int16_t SumX = 0, SumY = 0;  // Y up
  int32_t MaxSumX = 0, MinSumX = 0, MaxSumY = 0, MinSumY = 0;
  double MaxPosX = 0, MinPosX = 0, MaxPosY = 0, MinPosY = 0;
  int32_t EndX = 0, EndY = 0;
  int32_t StitchCount = 0;
  int32_t RecordCount = 2;
  int16_t ColourIndex = 1;
  std::array<int32_t, 301> ColourCounts{};
  int32_t PassRecords = 0;
  int16_t PrevKind = KindStitch;
  bool TrimPending = false;
  bool PendingStop = false;
  int16_t NeedleRotor = 1;

  // Splitting of a long step.
  bool Splitting = false;
  int16_t SavedKind = KindStitch;
  int32_t PartCount = 0, PartDone = 0;
  int16_t PartX = 0, PartY = 0, RestX = 0, RestY = 0;

  // Runs of DST jumps that stand for a trim.
  int32_t JumpRun = 0;
  bool FirstJumpRun = true;

  // A source opening that hands over a first step to write at once.
  bool FirstStepReady = false;

  // QEP and QCD: the previous position read, the record just read (what a CND
  // destination is written from), and the extremes of the positions written, which give
  // the header's pixel box (the screen's middle, position 0, always in it).
  int32_t QepPrevX = 0, QepPrevY = 0;
  int16_t QepCode = 0, QepX = 0, QepY = 0;
  double QepMaxX = 0, QepMinX = 0, QepMaxY = 0, QepMinY = 0;

  // CND: the parameter of the record just read, and the writer's jump mode.
  double CndParam = 0;
  bool CndJumpMode = false;

  // KSM: the writer's jump mode and whether it has sewn yet; the reader's jump mode,
  // and whether the record just read opened another writer's colour-change pair.
  bool KsmJumpMode = true;
  bool KsmSewn = false;
  bool KsmRead = false;

  // DSB, DSZ and KSM as the library reads them: how far the last look for a stitch
  // behind a needle or stop record went, and whether it found one there.
  int64_t StitchLookedTo = -1;
  bool StitchAhead = false;

  // VST and Emnet: whether the VST reader is yet to give the pass its first step, and
  // the Emnet reader's control codes still waiting for steps to go with.
  bool VstFirstRead = true;
  int64_t EmnetJumps = 0, EmnetColours = 0, EmnetNeedles = 0;

  // XXX: the writer's jumps summed into one long movement, and whether any are.
  int32_t XxxSumX = 0, XxxSumY = 0;
  bool XxxPending = false;

  // PCM and PCS: the previous position read (Y up); the stitch count a PCS head gives
  // and the records read against it; the palette bytes of a PCM head, cut or padded to
  // 16; the unique colours a PCS head gets at the end; the records other than colour
  // changes that the library's writer counts, and the position of its last one.
  int32_t PcPrevX = 0, PcPrevY = 0;
  int32_t ExpectedStitches = 0, DecodedStitches = 0;
  std::string PaletteText;
  std::string UniqueColours;
  int32_t PcRecords = 0;
  double PcWrittenX = 0, PcWrittenY = 0;

  // JEF and SEW (jef_sew.cpp). A SEW destination starts the needle at a fixed place:
  // its head sets PosX, PosY and the QEP reader's previous position there, and a VST
  // reader adds SewStartX, SewStartY to its first step while SewStartPending holds. The
  // SEW reader takes the head's opening jump back off the first step it reads. The
  // writers' own state (palette bytes, held-back jumps, pictures) is made by their heads.
  bool SewStartPending = false;
  int16_t SewStartX = 0, SewStartY = 0;
  bool SewStartRead = false;
  std::shared_ptr<JanomeWriter> Janome;

  // HUS and VIP (hus_vip.cpp): the three streams a source is read from side by side, and
  // the records a destination gathers to compress at the end.
  std::shared_ptr<HusReading> Hus;
  std::shared_ptr<HusWriting> HusOut;

  // PES and PEC sources: which of the file's two streams is read (the stitch blocks of
  // the head, or the PEC stream), what is left of it, and where the needle starts.
  struct PesReading {
    bool Blocks = false;        // the stitch blocks, not the PEC stream
    bool OtherWriters = false;  // the stream is read as other programs write it
    int32_t StreamBytes = 0;    // of the open stitch block, or of the whole PEC stream
    int32_t BytesRead = 0;
    uint8_t BlockColour = 0;    // palette byte of the open stitch block
    bool JumpBlock = false;
    int64_t PecOffset = 0;
    int32_t PecWidth = 0, PecHeight = 0;  // from the PEC stitch head
    bool LeadIn = true;         // no PEC record read yet
    int32_t AbsX = 0, AbsY = 0, PrevAbsX = 0, PrevAbsY = 0;  // points of the stitch blocks
    // Where other programs' files are read: the start is sewn before the first record.
    bool StartStitch = false;
  } pesReader;
};

struct ConversionRun : PassCounters {
  explicit ConversionRun(ConversionSettings& given) : settings(given) {}

  ConversionSettings& settings;
  int16_t SourceType = 0;
  int16_t DestType = 0;
  // The records of the two types, which decoders and encoders ask about the other end.
  const Codec* Source = nullptr;
  const Codec* Dest = nullptr;
  int16_t OriginalSourceType = 0;  // before a T01/T03 wrapper changed it
  int16_t OriginalDestType = 0;
  bool SourceWrapped = false;
  bool DestWrapped = false;
  std::string ResolvedSource;
  std::string ResolvedDest;
  std::string DesignName;  // VST: the name of the design

  BufferedFile source;
  BufferedFile dest;

  std::array<int16_t, 129> ColourList{};
  int16_t CndNeedle = 0;  // kept from one CND record to the next
  int32_t LoopCycles = 1;
  bool TurnDesign = false;
  int16_t OriginX = 0, OriginY = 0;

  // PES passes.
  int Pass = 1;
  int PassCount = 1;
  bool MeasuringPass = false;
  bool PesTurned = false;
  // A record read met the end of the file: the stream stopped there, not at an end record.
  bool RanOut = false;
  bool PesTurnsClockwise = false;  // a PES source's stream goes back clockwise, not the other way
  bool DesignTurned = false;
  bool PesBlocksTurned = false;  // the stitch blocks hold the design turned too (the class's 130 x 180)
  int16_t HoopCode = 0;
  PesWriterState Pes;  // the PES writer's blocks, PEC stream and pictures, kept across passes

  // Reads one whole record; false at end of file (a partial record is dropped).
  bool ReadRecord(uint8_t* out, size_t n) {
    if (source.Read(out, n) == n) return true;
    RanOut = true;
    return false;
  }
  void WriteBytes(const uint8_t* bytes, size_t n) { dest.Write(bytes, n); }
  void WriteBytes(std::string_view bytes) { dest.Write(bytes); }

  // ColourIndex + 1, with the overflow of a 16-bit number.
  void NextColour();
  // Sets both types and their records.
  void SetTypes(int16_t sourceType, int16_t destType);
};

// Writes n copies of a byte to the destination.
void WriteRepeated(ConversionRun& run, uint8_t byte, size_t n);

}  // namespace tavlin
