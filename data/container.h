#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "data/data_records.h"
#include "data/read_budget.h"
#include "platform/file_bytes.h"
#include "platform/file_stamp.h"
#include "platform/result.h"

namespace tonalith {

// The chunked files of instrument data: one FORM a DataFile, LIST files of many.

// Readers and writers of whole files stop here.
inline constexpr std::uint64_t kMaxContainerSize = 256ull << 20;

// Result codes of readers and writers.
enum DiskCode : int {
  kDiskOk = 0,
  kDiskNotFound = 1,
  kDiskReadError = 2,
  kDiskNotOurs = 3,
  kDiskNotSingle = 4,  // a multi-data file where one data file was wanted
  kDiskNoDirectory = 5,
  kDiskNoMemory = 6,
  kDiskWriteError = 7,
  kDiskCreateError = 8,
  kDiskCancelled = 9,
  kDiskNotDriver = 10,
  kDiskNotSet = 12,
  kDiskWrongDriver = 13,
  kDiskNotLibrary = 14,
  kDiskNotDesktop = 15,
  kDiskNotMidi = 16,
  kDiskUnknown = 17,
  kDiskKeywordAbsent = 100,
};

// The message text of a code, with its line end; empty for 0, 9's text and 100 are never shown.
const char* DiskErrorText(int code);

// A four-character identifier as the number its bytes form, first character highest.
constexpr std::uint32_t ChunkId(const char (&text)[5]) {
  return static_cast<std::uint32_t>(static_cast<unsigned char>(text[0])) << 24 |
         static_cast<std::uint32_t>(static_cast<unsigned char>(text[1])) << 16 |
         static_cast<std::uint32_t>(static_cast<unsigned char>(text[2])) << 8 |
         static_cast<std::uint32_t>(static_cast<unsigned char>(text[3]));
}
std::string ChunkIdText(std::uint32_t id);

// What lies above and takes part in reading a data file.  Every default does nothing and accepts.
class DiskHooks {
 public:
  virtual ~DiskHooks() = default;
  // False refuses data of a driver that is not installed (code 13).
  virtual bool MainConfigDriver(std::uint16_t /*driverId*/) { return true; }
  // Lets an updater library rewrite data saved by an older module.
  virtual void UpdateDataFile(DataFile* /*dataFile*/) {}
  virtual void DrvCorrectIDForCollisions(DataFile* /*dataFile*/) {}
  virtual void DrvUpdateDataFile(DataFile* /*dataFile*/) {}
  // Shows a message box with one button.
  virtual void ShowMessage(const std::string& /*title*/, const std::string& /*text*/) {}
};

// How one FORM is read.
struct FormReadOptions {
  int kind = 0;      // nonzero: the caller wanted a multi-data file, ends with code 4
  int mode = 0;      // 0: exactly what the file holds; 1: let the hooks update it and complete every buffer
  std::string find;  // not empty: code 100 when the first keyword entry does not contain it
  DiskHooks* hooks = nullptr;
  ReadBudget* budget = nullptr;  // what the file may still cost; null: that of the bytes that are read
};

// Which buffers a writer leaves out besides those that do not exist.
enum class WriteBuffers {
  kSkipEmpty,  // all-zero optional buffers: the reader makes them again
  kAll,
};

// --- Reading from memory ---------------------------------------------------------------------------------------------

// Walks chunked bytes.  Keeps byte order and file identifier of the file being read; never looks outside its span.  Of
// a FORM that ends early, and of an image shorter than its descriptor says, everything that is there is read; a bank's
// voices that are not are marked as holding nothing.
class ContainerReader {
 public:
  explicit ContainerReader(std::span<const std::uint8_t> bytes) : bytes_(bytes) {}

  // Reads one FORM (or PROP) at the position.  firstId nonzero: the first identifier has been read already.  After the
  // call the position is behind the FORM (success) or anywhere (failure).  0 or a DiskCode; 6 also when the file asks
  // for more memory than its size allows.  After codes 2 and 6 the DataFile is empty.
  int DiskReadForm(DataFile* dataFile, const FormReadOptions& options, std::uint32_t firstId = 0);

  // Reads a chunk length and its bytes, as many as there are, into a new buffer of max(length, minAlloc) bytes.  The
  // number of bytes read, -2 when there are none of those announced, -6 for short memory.
  std::int64_t ReadIff(std::uint8_t** pointer, std::uint32_t* size, std::uint32_t minAlloc);

  // First identifier of the file as it stands ("FORM", "LIST" or other), for messages.
  std::uint32_t fileId() const { return fileId_; }
  bool isLittleEndian() const { return littleEndian_; }
  // Voices of the FORM read last that its image ends before.
  std::uint32_t LostVoices() const { return lostVoices_; }
  std::size_t position() const { return position_; }
  std::size_t left() const { return bytes_.size() - position_; }
  void Seek(std::size_t position) { position_ = position < bytes_.size() ? position : bytes_.size(); }

  bool ReadId(std::uint32_t* id);     // converted by the byte order
  bool ReadLength(std::uint32_t* n);  // converted by the byte order

 private:
  int ReadForm(DataFile* dataFile, const FormReadOptions& options, std::uint32_t firstId);
  int ReadChunks(DataFile* dataFile, const FormReadOptions& options, std::uint32_t formSize);
  // Reads the data of one chunk whose identifier has been read.  Its size, or -2, -6, or -100 (keyword absent).
  std::int64_t ReadChunk(std::uint32_t id, DataFile* dataFile, const FormReadOptions& options);
  std::int64_t ReadDescriptor(DataFile* dataFile);
  std::int64_t ReadNames(DataFile* dataFile);
  std::int64_t ReadFind(DataFile* dataFile, const std::string& find);
  std::int64_t ReadXtra(DataFile* dataFile);
  std::int64_t ReadText(char** pointer, std::uint32_t* size, std::uint32_t minAlloc);
  std::int64_t ReadReference(std::uint32_t id, DataFile* dataFile);
  // The data of a chunk where it stands, as much as there is; null when there is nothing of what is announced.
  const std::uint8_t* TakeChunk(std::uint32_t* length);
  // AllocChunk within the budget.
  template <class T>
  bool Alloc(T** pointer, std::uint32_t* size, std::uint32_t wanted);
  int CompleteBody(DataFile* dataFile, const FormReadOptions& options);
  void MarkLost(DataFile* dataFile);
  int Finish(DataFile* dataFile, const FormReadOptions& options);

  std::span<const std::uint8_t> bytes_;
  std::size_t position_ = 0;
  std::uint32_t fileId_ = 0;
  std::uint32_t descriptorLength_ = 0;
  std::uint32_t announced_ = 0;  // length of the chunk taken last, as it says itself
  std::uint32_t bodyRead_ = 0;   // bytes of the image that are there
  std::uint32_t lostVoices_ = 0;
  bool littleEndian_ = false;
  bool cut_ = false;  // the FORM is shorter than it says
  ReadBudget* budget_ = nullptr;
};

// --- LIST files ------------------------------------------------------------------------------------------------------

inline constexpr std::uint32_t kListSet = ChunkId("ZSET");
inline constexpr std::uint32_t kListCollection = ChunkId("ZCOL");
inline constexpr std::uint32_t kListLibrary = ChunkId("ZLIB");
inline constexpr std::uint32_t kListBundle = ChunkId("ZBUN");

struct ListFile;

// One member: a data file or a nested list, never both.
struct ListMember {
  DataFilePtr data;
  std::unique_ptr<ListFile> list;
};

// A LIST in memory.
struct ListFile {
  std::uint32_t type = kListSet;
  DataFilePtr header;  // a Library's own record ("PROP"), may be null
  std::vector<ListMember> members;
  std::vector<std::uint8_t> info;  // private list-level data ("INFO"), kept as bytes
  // Members that could not be read (damaged, unknown form types); they are left out of `members`.
  int skippedMembers = 0;
  // Those of them, and parts of other kinds, that are whole and of even length: they are written again as they were.
  struct Unread {
    std::size_t place = 0;  // before the member of this number
    bool isMember = false;  // one of the skipped
    std::vector<std::uint8_t> bytes;
  };
  std::vector<Unread> unread;
};

// True when the bytes begin with "LIST".
bool IsListFile(std::span<const std::uint8_t> bytes);
// Reads any of the four list types by structure.  0, or 3 (no LIST), 2 (cut off inside the list's own header), 6.
// Members that do not read are skipped and counted.
int ReadList(std::span<const std::uint8_t> bytes, const FormReadOptions& options, ListFile* list);
// A part of a LIST: its identifier, and its bytes with that, the length, and the byte that pads it.
struct ListPart {
  std::uint32_t id = 0;
  std::span<const std::uint8_t> bytes;

  // The length says as many bytes as there are, and needs no padding.
  bool IsWhole() const;
};
// The parts of a LIST in their order, for those who keep them as they are.  0, or 3 (no LIST), 2 (cut off inside the
// list's own header).
int SplitList(std::span<const std::uint8_t> bytes, std::uint32_t* type, std::vector<ListPart>* parts);
// A plain FORM with a descriptor is read as a list of one, so that callers can open either.
int ReadListOrForm(std::span<const std::uint8_t> bytes, const FormReadOptions& options, ListFile* list);

// How many bytes a FORM or LIST, or what is in it, announces beyond its end: 0 when it is whole, or neither of them.
std::uint64_t MissingBytes(std::span<const std::uint8_t> bytes);
// What to say when there are any; else empty.
std::string MissingSentence(const std::string& path, std::span<const std::uint8_t> bytes);

// --- Writing to memory -----------------------------------------------------------------------------------------------

// Appends one chunk: identifier, even length, data, zero pad byte when n is odd.
void WriteFormSection(std::vector<std::uint8_t>* out, std::uint32_t id, const void* data, std::size_t n);
// Appends the FORM (or "PROP") of a record, descriptor first.  The record is not changed.  False: no descriptor, or
// more than kMaxContainerSize bytes in `out`.
bool DiskWriteForm(std::vector<std::uint8_t>* out, const DataFile& dataFile,
                   WriteBuffers buffers = WriteBuffers::kSkipEmpty, std::uint32_t formId = ChunkId("FORM"),
                   std::uint32_t formType = ChunkId("BANK"));
// The same with another name of the record's own file (UTF-8): the record takes that name (SetFileName) once the file
// is written.
bool DiskWriteFormAs(std::vector<std::uint8_t>* out, const DataFile& dataFile, std::string_view fileName);
// Whether the record has a buffer for the name of its file that is large enough and of even size.
bool KeepsFileName(const DataFile& dataFile);
// Gives the record the name of its file, cut between characters to what it holds.
void SetFileName(DataFile* dataFile, std::string_view fileName);
// Appends a whole LIST.  False as above.
bool WriteList(std::vector<std::uint8_t>* out, const ListFile& list);
// The same with members that belong to somebody else, in place of those in `list`; null: left out.
bool WriteList(std::vector<std::uint8_t>* out, const ListFile& list, std::span<const DataFile* const> members);
// The same with members as they are in a file already.
bool WriteList(std::vector<std::uint8_t>* out, const ListFile& list,
               std::span<const std::vector<std::uint8_t>* const> members);
// Why data that has a descriptor was not written.
inline constexpr char kTooLargeToWrite[] = "The data takes more than the 256 MiB that a file may have.";

// --- Files -----------------------------------------------------------------------------------------------------------

// The one way to read and to replace a file, for every kind.  The code of a failure is a DiskCode, its text says why.

// Reads a whole file of at most kMaxContainerSize bytes.  Code 1 (not there), 2 or 6.  `stamp` (may be null)
// receives what tells the file that was read from a later one.
Result LoadDiskFile(const std::string& path, std::vector<std::uint8_t>* bytes, FileStamp* stamp = nullptr);
Result LoadDiskFile(const std::string& path, FileBytes* bytes, FileStamp* stamp = nullptr);
// Replaces a file as a whole; the former file stays when anything fails.  Code 7 or 8.  `stamp` (may be null) receives
// that of the new file.  A former FORM or LIST with missing bytes is kept beside it as NAME~ (NAME~2 ... when that
// exists), and `kept` (may be null) receives that path.
Result SaveDiskFile(const std::string& path, std::span<const std::uint8_t> bytes, FileStamp* stamp = nullptr,
                    std::string* kept = nullptr);
// The same for callers that go by the code; the reason goes to the log.
int DiskLoadFile(const std::string& path, std::vector<std::uint8_t>* bytes);
int DiskSaveFile(const std::string& path, std::span<const std::uint8_t> bytes);

// Disk operations as the documents use them: they remember a base directory (the process's own is never changed) and
// report results through the hooks.  Used on the user-interface thread or with one object a thread.
class DiskAccess {
 public:
  explicit DiskAccess(DiskHooks* hooks = nullptr);

  // Reads one DataFile of directory `dir`.  Kinds 0 and 1 are a single data file, any other ends with code 4.  1 on
  // success, 0 on failure after the message.
  int DiskRead(int kind, const std::string& dir, const std::string& name, const std::string& find, DataFile* dataFile,
               int mode);
  // Writes one DataFile and remembers its name in the record.  1 or 0 as above.
  int DiskWrite(int kind, const std::string& dir, const std::string& name, DataFile* dataFile);

  // Sets and collections; a single data file is read as a list of one.  Fails with code 12 for anything else.
  int DiskDataBaseRead(const std::string& dir, const std::string& name, ListFile* list, int mode);
  int DiskDataBaseWrite(const std::string& dir, const std::string& name, const ListFile& list);
  // The same on bytes that are open already.  A DiskCode.
  int DiskDataBaseReadFromOpenFile(std::span<const std::uint8_t> bytes, ListFile* list, int mode);
  int DiskDataBaseWriteToOpenFile(std::vector<std::uint8_t>* out, const ListFile& list);
  // Libraries: the first record is the library's own (may come back null).  Fails with code 14 for anything else.
  int DiskLibraryRead(const std::string& dir, const std::string& name, DataFilePtr* header,
                      std::vector<DataFilePtr>* members, std::vector<std::uint8_t>* info, int mode,
                      const std::string& find = {});
  int DiskLibraryWrite(const std::string& dir, const std::string& name, const DataFile* header,
                       std::span<DataFile* const> members, std::span<const std::uint8_t> info);

  // Ends an access: shows the message of `code` (which may be changed to 0 or 17), with the reason when there is one,
  // or that a file that was read ends early. A broken default studio is renamed to "NAME.broken" silently.
  void DiskAccessClose(int& code, const std::string& dir, const std::string& name);

  // set true: remembers the current base directory and makes `dir` the base; false: returns to the remembered one.
  void DiskDirectoryFix(const std::string& dir, bool set);
  // A name seen from the base directory.
  std::string FullPath(const std::string& name) const;

  // Renames a keyword in every data file, library, set and collection below `dir`.  Only files where something changed
  // are written, each as a whole; symbolic links and read-only files are left alone.  `progress` gets each path and
  // returns false to stop.  Returns the number of files written.
  int DiskStructureUpdate(const std::string& dir, const std::string& oldKeyword, const std::string& newKeyword,
                          const std::function<bool(const std::string& path)>& progress = {});

  // Whether the file that was read last is shorter than it says.
  bool EndsEarly() const { return endsEarly_; }
  void SetFileId(std::uint32_t id) { fileId_ = id; }
  std::uint32_t fileId() const { return fileId_; }
  void SetHooks(DiskHooks* hooks);

 private:
  FormReadOptions Options(int mode) const;
  // A DiskCode; why a file that is there could not be read or written goes into reason_.
  int Load(const std::string& name, std::vector<std::uint8_t>* bytes);
  int Save(const std::string& name, std::span<const std::uint8_t> bytes);
  bool UpdateKeywordFile(const std::string& path, const std::string& oldKeyword, const std::string& newKeyword);

  DiskHooks* hooks_;
  std::string base_;
  std::vector<std::string> remembered_;
  std::uint32_t fileId_ = 0;
  std::string reason_;   // of the failure that DiskAccessClose is about to show
  std::string missing_;  // what it is about to say of a file that was read, but ends early
  bool endsEarly_ = false;
};

// --- Small helpers ---------------------------------------------------------------------------------------------------

// n rounded up to even; the chunk length of a string with its terminator.
constexpr std::uint32_t IFFSize(std::uint32_t n) {
  return (n + 1) & ~1u;
}
std::uint32_t IFFSize(const char* s);

// Swap a value in place.
void FlipLong(std::uint32_t* value);
void FlipWord(std::uint16_t* value);

// Appends "/" when path is not empty and does not end in '/', ':' or '\\', then name; nothing when name is empty or the
// result would exceed 255 characters.
void FileAppendPath(std::string* path, std::string_view name);
// Likewise, but with the last six characters of dir (a wildcard) left out; nothing when the lengths minus 3 exceed 255.
void FileAppendDir(std::string* path, std::string_view dir);
// "*.EXT", or "*.*" for an empty extension.
std::string FileCreateExt(std::string_view ext);

// A record whose image is the raw bytes: one voice, no name, no driver.  Null for no bytes or too many.
DataFilePtr CreateMidiXFile(std::span<const std::uint8_t> bytes);
// The same from the file `name` in `directory`; null when it cannot be read.
DataFilePtr CreateMidiXFile(const std::string& directory, const std::string& name);

// Platform file type of a file kind (0 to 16; negative kinds count as 15) and whether a creator code goes with it.
void GetMacFileTypeAndCreator(int kind, std::uint32_t& type, bool& creatorFlag);

// The first 16 bytes are "FORM", any length, "BANK", "SHDR".
bool LooksLikeDataFile(std::span<const std::uint8_t> bytes);

}  // namespace tonalith
