#pragma once

#include <string>
#include <vector>

#include "document/document.h"
#include "tests/platform/files_fixture.h"

namespace tonalith {

// The smallest document: some bytes.
class NoteDocument : public Document, private HistoryTarget {
 public:
  explicit NoteDocument(const std::string& text = {}) : text_(text.begin(), text.end()) { history().SetTarget(this); }

  std::string Title() const override { return "Näme"; }
  FileKind Kind() const override { return FileKind::SysEx; }
  WindowType Window() const override { return WindowType::View; }

  std::string text() const { return {text_.begin(), text_.end()}; }
  const std::string& writtenTo() const { return writtenTo_; }
  void Set(const std::string& text) {
    HistoryGroup change(history(), "Set");
    history().RememberEverything();
    text_.assign(text.begin(), text.end());
    change.Commit();
    Tell(DocumentChange::Kind::Everything);
  }
  // Without history.
  void Change(const std::string& text) {
    text_.assign(text.begin(), text.end());
    MarkChanged();
  }
  bool refuses = false;  // to be written

 protected:
  Result WriteBytes(const std::string& /*path*/, std::vector<std::uint8_t>* bytes) override {
    *bytes = text_;
    return refuses ? Result::Failure("No.") : Result::Success();
  }
  Result ReadBytes(std::span<const std::uint8_t> bytes, const std::string& path) override {
    if (bytes.empty()) return Result::Failure(path + " is empty.", 2);
    text_.assign(bytes.begin(), bytes.end());
    return Result::Success();
  }
  void FileWritten(const std::string& path) override { writtenTo_ = path; }

 private:
  std::vector<BufferId> HistoryBuffers() const override { return {{0, 0}}; }
  std::span<std::uint8_t> HistoryBytes(BufferId) override { return text_; }
  bool ResizeHistoryBuffer(BufferId, std::size_t size) override {
    text_.resize(size);
    return true;
  }

  std::vector<std::uint8_t> text_;
  std::string writtenTo_;
};

}  // namespace tonalith
