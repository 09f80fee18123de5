// What the PES writer keeps across the three passes of one conversion: the hoop and
// picture scale chosen in the first, the stitch blocks of the second, the PEC stream of
// the third. One member of the conversion run; only the PES codec reads it.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <string>

#include "pictures/pec_pictures.h"

namespace tavlin {

struct PesWriterState {
  // Chosen at the start of the first pass.
  std::string PaletteText;  // one palette byte a thread, from the source's thread table
  int16_t DesignWidth = 0, DesignHeight = 0;
  int16_t PlusX = 0, MinusX = 0, PlusY = 0, MinusY = 0;
  bool HeadChosen = false;  // the first pass's head ran: the hoop and the scale stand
  double Scale = 0;
  float ThumbOffsetX = 0, ThumbOffsetY = 0;
  // The first pass's extremes, which place every later pass's drawing, and its size.
  float MeasuredMinX = 0, MeasuredMinY = 0;
  double MeasuredWidth = 0, MeasuredHeight = 0;
  std::unique_ptr<PecPictures> pictures;

  // The stitch blocks of the second pass.
  int16_t BlockCount = 0;     // blocks closed so far
  int32_t BlockPoints = 1;    // points in the open block, plus 1
  int64_t CountPosition = 0;  // just behind the open block's head
  std::array<int16_t, 301> BlockOfColour{};
  bool InJumpBlock = false;
  bool FirstBlockPending = true;
  double PrevPesX = 0, PrevPesY = 0;
  bool UndoStep = false;
  std::array<uint8_t, 4> PesOutput{};  // the last point written, repeated at a stop
  bool HaveOutput = false;
  // The second pass drew every step the third will: the whole picture is its colours'
  // pictures together, and the third pass needn't draw.
  bool PassesDrawAlike = true;

  // The PEC block: where it starts and where its stitch head stands.
  int64_t PecAt = 0;
  int64_t StitchHeadAt = 0;
  int16_t ColourCount = 0;  // N, the colours of the second pass
  std::string PecColours;

  // The PEC stream of the third pass; these start with the conversion.
  int32_t PecByteCount = 0;
  bool PecLeadIn = true;
  int32_t PecStartX = 0, PecStartY = 0;
  int32_t PendingJumpX = 0, PendingJumpY = 0;
  bool JumpPending = false;
  bool ChangePending = false;
  bool LongJumpWritten = false;
  int16_t ColourToggle = 0;
  // The library's stream has no lead-in: its first step is yet to come.
  bool PecOpening = false;
};

}  // namespace tavlin
