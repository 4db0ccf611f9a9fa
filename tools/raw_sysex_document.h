#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "document/document.h"
#include "platform/file_bytes.h"

namespace tonalith {

class FoundFile;
class Recognizer;

// What is known about a part of SysEx bytes.
struct SysExName {
  std::size_t offset = 0;
  std::size_t length = 0;
  std::shared_ptr<const std::string> text;  // instrument and data type, UTF-8; one for all pieces of a type
  bool damaged = false;                     // its checksum is wrong
};
// The pieces that instruments of the studio know, by offset.
std::vector<SysExName> NamesOf(const FoundFile& found);
std::vector<SysExName> NameSysEx(const Recognizer& recognizer, std::span<const std::uint8_t> bytes);

// The messages of a file that no data type claims.  They are looked at, sent and saved; single bytes can be changed.
class RawSysExDocument final : public Document, private HistoryTarget {
 public:
  // No more messages are listed.
  static constexpr std::size_t kMostMessages = std::size_t{1} << 21;
  struct Message {
    std::uint32_t offset = 0;
    std::uint32_t length = 0;
    bool complete = true;  // ends with F7
  };
  // Bytes from `begin` to before `end`.
  struct Range {
    std::size_t begin = 0;
    std::size_t end = 0;
  };

  RawSysExDocument();
  std::string Title() const override { return "Raw SysEx"; }
  FileKind Kind() const override { return FileKind::SysEx; }
  WindowType Window() const override { return WindowType::BankEditor; }
  bool IsEmpty() const override { return bytes_.empty(); }

  std::span<const std::uint8_t> bytes() const { return bytes_; }
  const std::vector<Message>& messages() const { return messages_; }
  std::span<const std::uint8_t> BytesOf(const Message& message) const {
    return bytes().subspan(message.offset, message.length);
  }
  std::size_t otherBytes() const { return other_; }        // outside of every message
  std::size_t unlistedBytes() const { return unlisted_; }  // behind the last message that is listed
  // Content that is no file's as a whole.
  void TakeBytes(FileBytes bytes);
  // No file holds the content yet.
  using Document::MarkChanged;
  // What is known about the bytes, when somebody has looked already; empty: nobody has.
  void SetNames(std::vector<SysExName> names) { names_ = std::move(names); }
  // Gives them away; none: nobody has looked.
  std::optional<std::vector<SysExName>> TakeNames();

  // A byte that begins or ends a message makes other messages of those around it.
  Result ChangeByte(std::size_t position, std::uint8_t value) override;
  std::string ByteRefusal() const override;
  // Where the messages were looked for again by the newest change of bytes, undo and redo too; all others are as they
  // were, and whole ones of them stand before and behind it.
  const Range& listedAnew() const { return listedAnew_; }

 protected:
  Result WriteBytes(const std::string& path, std::vector<std::uint8_t>* bytes) override;
  Result ReadBytes(std::span<const std::uint8_t> bytes, const std::string& path) override;
  Result ReadOwnBytes(FileBytes&& bytes, const std::string& path) override;

 private:
  std::vector<BufferId> HistoryBuffers() const override { return {BufferId{}}; }
  std::span<std::uint8_t> HistoryBytes(BufferId) override { return bytes_; }
  bool ResizeHistoryBuffer(BufferId, std::size_t size) override { return size == bytes_.size(); }
  void HistoryApplied() override;
  // Those that a byte at `position` may begin, end or belong to.
  Range ListAround(std::size_t position);
  // Those around all changed bytes whose value is not the one they were listed with.
  void ListChanged();

  FileBytes bytes_;
  std::optional<std::vector<SysExName>> names_;
  std::vector<Message> messages_;
  std::map<std::size_t, std::uint8_t> changed_;  // positions of bytes that were changed, with the value listed last
  Range listedAnew_;
  std::size_t other_ = 0;
  std::size_t unlisted_ = 0;
};

}  // namespace tonalith
