// The PEC block that ends a PES file: its 512-byte head of name and colours, the
// 20-byte stitch head, the stream of relative records, and the pictures behind it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "conversion/conversion_run.h"

namespace tavlin {

// One axis of a stream record: one byte from -64 to 63, two bytes beyond (0x80 and the
// value up to 126, 0x8F below -64, 0xA0 and on beyond 126 or below -126). Gives the
// bytes written into out, 1 or 2.
size_t PutPecValue(uint8_t* out, int value);
// One axis of a long jump, always two bytes: 0xA0 and on for 0 and above, 0xAF and
// down below 0.
void PutPecLongValue(uint8_t* out, int value);

// The palette byte of a colour, from 1: a colour beyond the source's thread table is
// black (20), the palette's own black, rather than a byte of nothing.
uint8_t PesPaletteByte(const PesWriterState& pes, int colour);

// Lets the host's queue run, then stores the canvas into a picture slot and blackens
// it: a slot beyond 128 (a design of more than 128 colours) is a subscript failure.
void StorePecThumbnail(ConversionRun& run, int slot);

// The end of the second pass, behind the container: the 512-byte head at the block's
// first byte, then the stitch head as 20 zero bytes for the third pass to fill. A
// design name of fewer than four characters has nothing to cut: invalid call (5).
void WritePecBlockHead(ConversionRun& run);

// A step of the third pass: the stream record of the step, a long jump for gathered
// jumps, the colour change record; nothing for the jumps ahead of the first stitch,
// whose position goes into the stitch head.
void EncodePecStep(ConversionRun& run);

// The end of the third pass: the end bytes, every picture with the colour table behind
// the last, and the stitch head's counts, size and start.
void WritePecTail(ConversionRun& run);

}  // namespace tavlin
