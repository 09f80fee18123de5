// The PEC block that ends a PES file: its 512-byte head of name and colours, the
// 20-byte stitch head, the stream of relative records, and the pictures behind it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "conversion/conversion_run.h"

namespace tavlin {

// How two-byte values are marked. The class writes every value beyond -126..126, and
// every long jump, in the 0xA0 group. Other programs, and the library with them, write a
// 12-bit number under the group that says what the record is: 0x80 a stitch, 0x90 a
// jump (0xA0 is their trim).
enum class PecGroups { Reference, TwelveBit };

// One axis of a stream record: one byte from -64 to 63, two bytes beyond (0x80 and the
// value up to 126, 0x8F below -64, and further out the 0xA0 group, or the 0x80 group
// as 12 bits). Gives the bytes written into out, 1 or 2.
size_t PutPecValue(uint8_t* out, int value, PecGroups groups = PecGroups::Reference);
// One axis of a long jump, always two bytes: 0xA0 and on for 0 and above, 0xAF and
// down below 0; or the 12 bits under 0x90.
void PutPecLongValue(uint8_t* out, int value, PecGroups groups = PecGroups::Reference);

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

// The library's third pass starts its stream at the needle's position, the source's
// start: that goes into the stitch head, or, where the head's 12 bits can't hold it
// with half the design's size (`width`, `height`) added, the nearest place they can,
// with a move from there ahead of the first step.
void StartPecStream(ConversionRun& run, double width, double height);

// A step of the third pass: the stream record of the step, a long jump for gathered
// jumps, the colour change record; nothing for the jumps ahead of the first stitch,
// whose position goes into the stitch head.
void EncodePecStep(ConversionRun& run);

// The end of the third pass: the end bytes, every picture with the colour table behind
// the last, and the stitch head's counts, size and start.
void WritePecTail(ConversionRun& run);

}  // namespace tavlin
