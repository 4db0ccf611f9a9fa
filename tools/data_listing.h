#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "data/data_records.h"

namespace tonalith {

// The bytes of one piece of data as a listing: what the viewer's window and the command line show, search, compare and
// print.  Positions are from 0.

inline constexpr std::size_t kListingLine = 16;  // bytes of a line

enum class ListingMode {
  Raw,        // the image as it is stored and sent
  Formatted,  // the data bytes of the patches, without packing, heads and checksums
};

// One line: its bytes and which of them are shown as different.
struct ListingLine {
  std::size_t offset = 0;
  std::vector<std::uint8_t> bytes;
  std::vector<bool> differs;  // of each byte; all false while nothing is compared
  // While comparing: the line is the same in both.  A status byte (F0 and above) and the selected byte clear it.
  bool matches = false;
};

// What is listed.  A view: neither the bytes nor the record are owned, and neither may change its size meanwhile.
class DataListing {
 public:
  DataListing() = default;
  // The image of a record; without a descriptor or a body there is nothing to list.
  explicit DataListing(const DataFile& dataFile);
  // Bytes that no descriptor explains.
  explicit DataListing(std::span<const std::uint8_t> bytes) : image_(bytes) {}

  std::span<const std::uint8_t> image() const { return image_; }
  ListingMode mode() const { return mode_; }
  // Refused (false, and nothing changes) while comparing, and where FormattedRefusal says why.
  bool SetMode(ListingMode mode);
  // Why there is no formatted listing; empty: there is one.
  std::string FormattedRefusal() const;

  std::size_t Size() const { return mode_ == ListingMode::Raw ? image_.size() : formattedSize_; }
  std::size_t Lines() const { return (Size() + kListingLine - 1) / kListingLine; }
  // 0 outside.
  std::uint8_t ByteAt(std::size_t position) const;
  // Position in the image of a listed byte; none: it is put together from several.
  std::optional<std::size_t> ImagePosition(std::size_t position) const;

  // The other data; a comparison shows the raw bytes.  Empty bytes end it.
  void Compare(std::span<const std::uint8_t> other);
  bool comparing() const { return comparing_; }
  std::span<const std::uint8_t> other() const { return other_; }
  // A byte that only one of the two has is different.
  bool Differs(std::size_t position) const;

  // `selected`: position of the selected byte, or Size().
  ListingLine LineAt(std::size_t line, std::size_t selected) const;

  // What the status line says of the byte at `position` of the image: offsets and value.  Behind the end: the offsets.
  std::string StatusText(std::size_t position) const;

 private:
  // Of a formatted byte: where its patch begins behind the head, and the byte's index in it.
  std::int64_t SlotOf(std::size_t position, std::size_t* index) const;

  std::span<const std::uint8_t> image_;
  const Synth* synth_ = nullptr;
  VoiceLayout layout_;
  std::size_t formattedSize_ = 0;
  ListingMode mode_ = ListingMode::Raw;
  std::span<const std::uint8_t> other_;
  bool comparing_ = false;
};

// "00010:  F0 43 00 ": the offset of the first byte and the bytes from `start` to before `end`, at most a line of them.
std::string ViewBuildLine(std::size_t line, std::span<const std::uint8_t> bytes, std::size_t start, std::size_t end);
// The same with the characters at the right: printable ASCII, else a full stop.
std::string ListingText(const ListingLine& line);
char ListingCharacter(std::uint8_t byte);

// The positions of at most `most` bytes that differ, and how many there are in all: compared over the other data's
// size.
struct Mismatches {
  bool otherSize = false;
  std::size_t count = 0;
  std::vector<std::size_t> first;
};
inline constexpr std::size_t kMismatchesTold = 10;
inline constexpr char kCompareSizesDiffer[] = "Warning! Compare sizes are different between the two data files!";
Mismatches FindMismatches(std::span<const std::uint8_t> image, std::span<const std::uint8_t> other,
                          std::size_t most = kMismatchesTold);
// "The first 10 mismatched byte offsets are: ..." or that there are none.
std::string MismatchText(const Mismatches& mismatches);

// What is searched for: bytes.  A text is looked for at every place below the size less its length, so one that ends
// exactly on the last byte is not found; bytes given in hex are found there too.
struct SearchBytes {
  std::vector<std::uint8_t> bytes;
  bool text = false;
  std::string shown;  // as it was typed, UTF-8
};
// What a user typed: in double quotes a text; pairs of hex digits, with or without blanks, bytes; anything else a text.
// Characters that are not Latin-1 are not found in instrument data: none.  Empty: nothing to search for.
std::optional<SearchBytes> ReadSearch(std::string_view typed);
SearchBytes SearchForText(std::string_view utf8);

// Searches a listing as it is shown, a piece at a time, so that a window can go on meanwhile.
class ListingSearch {
 public:
  ListingSearch(const DataListing& listing, SearchBytes wanted, std::size_t from)
      : listing_(listing), wanted_(std::move(wanted)), at_(from) {}
  // Looks through about `bytes` more; true: it is over.
  bool Step(std::size_t bytes);
  // Where it is; none: not found.
  std::optional<std::size_t> found() const { return found_; }
  // The whole of it.
  std::optional<std::size_t> Run();
  const SearchBytes& wanted() const { return wanted_; }

 private:
  const DataListing& listing_;
  SearchBytes wanted_;
  std::size_t at_;
  std::optional<std::size_t> found_;
};
// "ABC was not found in the SysEx."
std::string NotFoundText(const SearchBytes& wanted);

// The head of a printed or copied listing, in lines of UTF-8; without a descriptor only the file is known.
std::vector<std::string> ListingHead(const DataFile* dataFile, const std::string& fileName);

// A file as it is looked at: a data file's image, or the bytes of any other file.
struct ViewedFile {
  DataFilePtr data;                 // null: no data file of this program
  std::vector<std::uint8_t> bytes;  // of such a file
  DataListing Listing() const { return data ? DataListing(*data) : DataListing(std::span(bytes)); }
};
ViewedFile ViewedFileOf(std::vector<std::uint8_t> bytes);

}  // namespace tonalith
