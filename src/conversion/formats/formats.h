// The records of the formats that have rules in this build, each defined in its own
// file, for the codec registry; and the few record helpers others share.
#pragma once

#include <cstdint>

#include "conversion/format_table.h"

namespace tavlin {

extern const Codec kDstCodec;    // dst.cpp
extern const Codec kDsbCodec;    // dsb_dsz.cpp
extern const Codec kUFileCodec;  // dsb_dsz.cpp
extern const Codec kDszCodec;    // dsb_dsz.cpp
extern const Codec kKsmCodec;    // ksm.cpp
extern const Codec kQepCodec;    // qep_qcd.cpp
extern const Codec kQcdCodec;    // qep_qcd.cpp
extern const Codec kCndCodec;    // cnd.cpp
extern const Codec kT01Codec;    // t01_t03.cpp
extern const Codec kT03Codec;    // t01_t03.cpp
extern const Codec kExpCodec;    // exp_10o.cpp
extern const Codec k10oCodec;    // exp_10o.cpp
extern const Codec kEmnetCodec;  // emnet.cpp
extern const Codec kVstCodec;    // vst.cpp
extern const Codec kXxxCodec;    // xxx.cpp
extern const Codec kEmdCodec;    // emd.cpp
extern const Codec kPcmCodec, kPcsCodec;  // pcm_pcs.cpp
extern const Codec kJefCodec;    // jef_sew.cpp
extern const Codec kSewCodec;    // jef_sew.cpp
extern const Codec kPesCodec;    // pes_writer.cpp
extern const Codec kRefusedCodec;  // refused.cpp
extern const Codec kPecCodec;    // pes_reader.cpp
extern const Codec kHusCodec;    // hus_vip.cpp
extern const Codec kVipCodec;    // hus_vip.cpp
extern const Codec kShvCodec;    // shv.cpp
extern const Codec kVp3Codec;    // vp3.cpp
// Not a format of the class: the library reads the Viking and Pfaff machines' VP3.
constexpr int16_t kCodeVp3 = 25;

// A PES source (pes_reader.cpp): the opening that finds the stream to read and where
// the needle starts, one record of it, and what the head says of version and hoop.
void OpenPesSource(ConversionRun& run);
Decoded DecodePesRecord(ConversionRun& run);
HeadFacts DescribePes(BufferedFile& file);

// DST's balanced-ternary records (dst.cpp), which the bench and tests build designs with.
struct TernaryStep {
  int16_t x = 0;
  int16_t y = 0;
};
TernaryStep DecodeTernary(const uint8_t bytes[3]);
// The three bytes of a record of this kind and movement, packed low byte first.
uint32_t TernaryBits(int16_t kind, int16_t stepY, int16_t stepX);
// The same as three bytes.
void EncodeTernary(int16_t kind, int16_t stepY, int16_t stepX, uint8_t out[3]);

// The movement of a record laid out as DSZ lays it, which KSM shares: |y| and |x| in the
// low seven bits of bytes 0 and 1, and in byte 2 0x40 for a negative X, 0x20 for a
// negative Y (dsb_dsz.cpp).
void ReadDszMovement(const uint8_t r[3], StitchStep& step);
// Bytes 0 and 1 and the sign bits of byte 2, over 0x80; the caller adds the code.
void PutDszMovement(const StitchStep& step, uint8_t r[3]);

// The library's reading of a needle or stop record in the three-byte formats of the
// machines (DSB, DSZ, KSM): other programs write one for each colour change, and some
// at the end of a design too, where no stitch follows. Such a record is a colour change
// where a stitch follows it before the end; one that another such record follows at
// once is the same change. `Classify` says what a record is, with the jump mode that
// KSM keeps between records (dsb_dsz.cpp).
enum class RecordRole { Stitch, Move, NeedleOrStop, End };
using ClassifyRecord = RecordRole (*)(const uint8_t r[3], bool& jumpMode);
// Whether the record just read (the file stands behind it) is a colour change.
bool ChangesColourHere(ConversionRun& run, ClassifyRecord classify, bool jumpMode);

// The wrapper of T01 and T03 (t01_t03.cpp), which the frame's pass start runs: it
// positions a wrapped source, writes a wrapped destination's head, and pads and counts
// the destination at the end.
void PositionWrappedSource(ConversionRun& run);
void WriteWrapperHead(ConversionRun& run);
void FinishWrapper(ConversionRun& run);

}  // namespace tavlin
