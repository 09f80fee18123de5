// The shared record: the working fields that the disc, conversion and colour routines
// read and write. One per thread; every Tavlin object on a thread shares it.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>
#include <typeindex>
#include <typeinfo>
#include <unordered_map>

#include "platform/drives.h"
#include "tavlin/progress.h"

namespace tavlin {

constexpr size_t kSectorBufferBytes = 1092;
constexpr size_t kListSlots = 129;

// What the design-file service holds between its calls.
struct DesignServiceState {
  bool initialised = false;
  std::string loadedPath;
  int32_t errorCode = 0;
  bool diskOpen = false;
};

// A line of the last listing as the library API shows it: what DiscFilesText holds as
// text, kept apart so that no caller has to parse that text.
struct ListingEntry {
  std::string name;      // as the line shows it, blanks included
  int64_t number = -1;   // the line's figure (stitches), or -1 where it shows none
  std::string text;      // the line without its NUL
};

// What a refused disc write ran out of: the class answers with its codes alone, the
// library API names the limit.
enum class RoomLimit { None, Blocks, DirectoryEntries };

struct SharedRecord {
  int16_t CurrentDrive = 0;
  int16_t CurrentDiscType = 0;
  std::string DiscFilesText;
  std::vector<ListingEntry> ListingEntries;  // the lines of DiscFilesText

  void ClearListingText() {
    DiscFilesText.clear();
    ListingEntries.clear();
  }
  // Appends a line to the listing text, ended by its NUL, and to the entries.
  void AddListingLine(const std::string& name, int64_t number, const std::string& text) {
    DiscFilesText += text + '\0';
    ListingEntries.push_back({name, number, text});
  }
  std::string DiscFormatText;
  std::string FreeStitchesText;
  int32_t DiscByteCount = 0;
  int32_t PlatformId = 1;
  int16_t MaxStitchLength = 50;
  bool PESAbosulteFlag = false;
  std::string HoopSizeText;
  std::string LastDestFile;
  // The last DOS read's disc file, and the HUS file it read (empty for any other
  // format): the thread-colour writer of the conversions that follow takes an EMD's
  // COL file from beside the one and a HUS design's threads from the other.
  std::string LastDosReadName;
  std::string HusSourceName;
  // Conversions on this record read and write as other programs do: on for the records
  // of the library API, off for the class's.
  bool AsOtherProgramsDo = false;
  // The library's design file behind a disc write, whose name a text header's label
  // carries where the write converts by way of working files (empty: the run's source).
  std::string LabelSource;
  std::string LabelDest;  // and the name it takes on the disc, whose format the label's tag names
  // The name the last disc write that succeeded gave its design, as the listing shows it.
  std::string WrittenName;
  RoomLimit WriteLimit = RoomLimit::None;
  std::shared_ptr<Progress> CurrentPB;
  int16_t SavedVectorA = 0;
  int16_t SavedVectorB = 0;

  std::array<uint8_t, kSectorBufferBytes> SectorBuffer{};
  int16_t SectorBufferLen = static_cast<int16_t>(kSectorBufferBytes);
  uint8_t CurrentTrack = 0;
  uint8_t CurrentHead = 0;
  uint8_t CurrentSector = 1;
  std::array<std::string, 17> TrackBuffer;  // slots 1 to 16

  std::array<std::string, kListSlots> ListNames;
  std::array<std::string, kListSlots> ListDetails;
  std::array<int16_t, kListSlots> ListBlockCounts{};

  std::string ToolPath;
  std::string ToolResultFile;

  PlatformState platform;
  DesignServiceState designService;

  // The fields of one disc family, kept per record like the rest but declared by the
  // family itself: one T for each type asked for, made on first use.
  template <class T>
  T& Own() {
    std::shared_ptr<void>& held = owned_[std::type_index(typeid(T))];
    if (!held) held = std::make_shared<T>();
    return *static_cast<T*>(held.get());
  }

 private:
  std::unordered_map<std::type_index, std::shared_ptr<void>> owned_;
};

// The calling thread's record.
SharedRecord& ThreadSharedRecord();

}  // namespace tavlin
