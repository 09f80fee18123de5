// Machine discs through the library API: a disc is opened on an image file or a
// folder and owns its state for its lifetime; listings are entries, not text.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

namespace tavlin {

enum class DiscFamily { Fmc, Fdr3, Zsk, Dos };

// "fmc", "fdr3", "zsk", "dos": the names the command takes.
std::string_view DiscFamilyName(DiscFamily family);
std::optional<DiscFamily> DiscFamilyNamed(std::string_view name);
std::vector<DiscFamily> DiscFamilies();

// Makes an image file holding an empty disc of the family; a DOS disc is 720 KB, or
// 1.44 MB at high density, and laid out as mkfs.fat lays it. The image is made beside
// the path and put in its place only when it is whole.
std::error_code FormatDiscImage(const std::string& path, DiscFamily family,
                                bool highDensity = false);

struct DiscEntry {
  int line = 0;          // from 0, in listing order
  std::string name;      // as the disc names it: "A01.DAT", "ROSE.U01", "7", "ROSE.DSB"
  int64_t stitches = 0;  // the listing's figure: the design's stitches
  std::string text;      // the listing's line
  bool design = true;    // false: a file of a DOS disc that holds no design this build reads
};

struct DiscListing {
  DiscFamily family = DiscFamily::Dos;
  std::string format;    // the family's name as the disc tells it: "Barudan FMC", "Tajima Disc" ...
  int16_t discType = 0;
  int32_t freeStitches = 0;
  std::vector<DiscEntry> designs;
};

// What a check of the disc's structures found wrong, as fsck would say it.
struct DiscDamage {
  int line = -1;       // the listing line of the design it damages; -1: the disc as a whole
  std::string design;  // that design's name, or empty
  std::string text;    // "A01.DAT and A03.DAT share block 12"
};

struct DiscWriteOptions {
  std::string name;  // FDR3: the design's name; DOS: the file's name, whose extension is the format
  bool replace = false;  // DOS: a file of that name is replaced, not refused
  std::function<void(double done, double total)> progress{};
};

class Disc {
 public:
  // Opens an image file or a folder (a folder stands for a DOS disc), lists it and
  // checks its structures. Without a family the disc is identified: a family claims it
  // only by its own signature, so a damaged or foreign image is NoFamily; a family
  // named is NotThisFamily where its signature is absent. Null, with `ec` set, when it
  // can't be; `why` gets the reason in words where the file can't be used as a disc.
  //
  // The disc is locked for the Disc's lifetime: another program (or Disc) that opens it
  // waits up to `waitMilliseconds`, then gets InUse.
  static constexpr int kLockWaitMilliseconds = 5000;
  static std::unique_ptr<Disc> Open(const std::string& path, std::optional<DiscFamily> family,
                                    std::error_code& ec, std::string* why = nullptr,
                                    int waitMilliseconds = kLockWaitMilliseconds);
  ~Disc();
  Disc(const Disc&) = delete;
  Disc& operator=(const Disc&) = delete;

  DiscFamily Family() const;
  // The listing as of the last change.
  const DiscListing& Listing() const;
  // What the check found wrong; empty for a sound disc. A damaged disc is neither
  // written nor deleted from, and a damaged design is not read.
  const std::vector<DiscDamage>& Damage() const;
  // The design of that name (a ZSK design's number is its name), or null, also where
  // the name fits more than one (Matches says which).
  const DiscEntry* Find(std::string_view name) const;
  // Every design the name fits: the whole name, or the name without its extension
  // ("A01" for "A01.DAT"), case aside.
  std::vector<const DiscEntry*> Matches(std::string_view name) const;

  // Writes a stitch file of any readable format; `written` gets the name the disc gave it.
  // An unsound source (WhySourceUnsound) is refused before anything is written; a write
  // that fails at any sector leaves the disc as it was.
  std::error_code Write(const std::string& design, const DiscWriteOptions& options,
                        std::string& written);
  // Reads and Delete act on the design of the entry's name, wherever the listing has it
  // now; an entry whose design is gone gives NoSuchDesign.
  // Reads a design into a stitch file of the format `dest` names.
  std::error_code Read(const DiscEntry& entry, const std::string& dest,
                       const std::function<void(double done, double total)>& progress = {});
  std::error_code Delete(const DiscEntry& entry);

  // For tests: every sector transfer of the disc's image that the hook answers true for
  // fails (`write` for a write or a format), as a bad sector would.
  void FailTransfersForTests(std::function<bool(bool write, int track, int head, int sector)> fault);

 private:
  struct State;
  explicit Disc(std::unique_ptr<State> state);
  std::error_code Relist();
  const DiscEntry* Current(const DiscEntry& entry) const;
  bool WriteProtected() const;
  std::unique_ptr<State> state_;
};

}  // namespace tavlin
