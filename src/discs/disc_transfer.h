// What every disc family does the same way when it moves a design: take the lowest free
// design number, convert the host's file into the disc's record format in the working
// file, and deliver a design gathered off the disc to the host as QEP.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

#include "conversion/buffered_file.h"
#include "state/shared_record.h"

namespace tavlin {

// The start of every listing: the disc type set, the texts emptied, no free room, a
// clean sector buffer.
void StartListing(SharedRecord& shared, int16_t discType);

// Adds a line of a proprietary listing: the 12-character name, a blank, the number
// right-aligned in 8 characters, and the NUL that ends every line.
void AddListingLine(SharedRecord& shared, const std::string& name, int64_t number);

// The most records of a design whose record file (the 512-byte header, three bytes a
// record, and the end record) fits in this many bytes.
int64_t StitchesInRoom(int64_t freeBytes);

// The lowest design number from 1 to 99 that is not taken, or 0 when all are.
int LowestFreeNumber(const std::function<bool(int)>& taken);

// Converts the host's stitch file to the disc's record format, named by its file end
// ("DSB"), in the working file. Gives 2 when the source's name gives no format, else
// the conversion's result.
int16_t ConvertForDisc(SharedRecord& shared, const std::string& sourceFile,
                       std::string_view recordFormat, const std::string& workingPath);

// Lets `gather` fill a working file with a design off the disc: it finds 512 blanks
// written, the place of the header, and adds the stitch data in the record format of
// that file end, writing the header over the blanks where it has one. Then it converts
// it to the host's file as QEP. Gives 1, and makes no file, when the gathering fails;
// otherwise 0.
int16_t DeliverFromDisc(SharedRecord& shared, std::string_view recordFormat,
                        const std::string& destName,
                        const std::function<bool(BufferedFile&)>& gather);

}  // namespace tavlin
