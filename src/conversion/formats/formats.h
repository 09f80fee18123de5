// The entry points of each format's rules, for the format table.
#pragma once

#include <cstdint>

#include "conversion/format_table.h"

namespace tavlin {

// DST (dst.cpp)
struct TernaryStep {
  int16_t x = 0;
  int16_t y = 0;
};
TernaryStep DecodeTernary(const uint8_t bytes[3]);
// The three bytes of a record of this kind and movement, packed low byte first.
uint32_t TernaryBits(int16_t kind, int16_t stepY, int16_t stepX);
// The same as three bytes.
void EncodeTernary(int16_t kind, int16_t stepY, int16_t stepX, uint8_t out[3]);
Decoded DecodeDst(ConversionRun& run);
void EncodeDst(ConversionRun& run);
void EndDst(ConversionRun& run);

// DSB, U files and DSZ (dsb_dsz.cpp)
Decoded DecodeDsb(ConversionRun& run);
void EncodeDsb(ConversionRun& run);
void EndDsb(ConversionRun& run);
void OpenUFile(ConversionRun& run);
void WriteUFileHead(ConversionRun& run);
Decoded DecodeDsz(ConversionRun& run);
void EncodeDsz(ConversionRun& run);
void EndDsz(ConversionRun& run);

// QEP and QCD (qep_qcd.cpp)
Decoded DecodeQep(ConversionRun& run);
void EncodeQep(ConversionRun& run);
void EndQep(ConversionRun& run);

// CND (cnd.cpp)
Decoded DecodeCnd(ConversionRun& run);
void EncodeCnd(ConversionRun& run);

// A name whose format is refused (refused.cpp): three-byte records of no movement.
Decoded DecodeRefused(ConversionRun& run);
void EncodeRefused(ConversionRun& run);
void EndRefused(ConversionRun& run);

// T01 and T03: DST and DSB records in a wrapper (t01_t03.cpp).
void PositionWrappedSource(ConversionRun& run);
void WriteWrapperHead(ConversionRun& run);
void FinishWrapper(ConversionRun& run);

}  // namespace tavlin
