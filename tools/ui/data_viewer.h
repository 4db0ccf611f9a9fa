#pragma once

#include <QPointer>
#include <QStringList>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "tools/data_listing.h"
#include "tools/sysex_words.h"
#include "ui/document_window.h"

class QBoxLayout;
class QStackedLayout;
class QTimer;
class QToolButton;

namespace tonalith {

class DocumentHeader;
class EmptyState;
class InstrumentWindow;
class ListingView;
class MessageView;
class SearchField;
class ToolRow;
class ZKStudioDoc;
struct ListingLines;

// What is kept from one viewer to the next while the program runs.
struct ViewMemory {
  QString searched;
};

// The bytes of what another window shows: looked through, compared with a file, copied, printed and, deliberately,
// changed one by one.  Saving, undo and transfers are those of that window; the viewer closes with it.
class TZKView final : public ZKWindow {
  Q_OBJECT

 public:
  // Bytes that are copied or printed at once, at most.
  static constexpr std::size_t kMostCopied = std::size_t{1} << 20;

  // Whether a window shows data whose bytes can be looked at.
  static bool CanShow(ZKWindow* window);
  // Context, memory and the studio, which knows what messages are, must outlive the viewer.
  TZKView(DocumentWindow& data, WindowContext& context, ViewMemory& memory, const ZKStudioDoc& studio,
          QWidget* parent = nullptr);
  ~TZKView() override;

  DocumentWindow* data() const { return data_; }
  ListingView* bytes() { return bytes_; }
  MessageView* messages() { return messages_; }
  SearchField* Search() const override { return search_; }
  QString StatusText() const;

  WindowType TypeCode() const override { return WindowType::View; }
  bool VerifyClose() override { return true; }
  bool CommandEnabled(CommandId command) const override;
  void RunCommand(CommandId command) override;
  QString CommandRefusal(CommandId command) const override;
  QString TabText() const override;
  void StudioChanged() override;

  // ---- the commands of its own
  void ShowFormatted(bool formatted);
  // The bytes as MIDI messages, a line each, or the listing again.
  void ShowMessages(bool messages);
  bool ShowsMessages() const { return byMessage_; }
  void OnCompare();
  void ShowMismatchedBytes();
  void FindNext();
  void GoToOffset();
  void ChangeByte();
  void CopyListing();
  // Whether something is done in pieces at present.
  bool Working() const { return static_cast<bool>(step_); }

 signals:
  void FilesDropped(const QStringList& paths);

 protected:
  void keyPressEvent(QKeyEvent* event) override;
  void dragEnterEvent(QDragEnterEvent* event) override;
  void dropEvent(QDropEvent* event) override;

 private:
  DataListing Listing() const;
  InstrumentWindow* Instrument() const;
  const DataFile* Record() const;
  QString Name() const;
  void BuildTools(QBoxLayout* column);
  void BuildBytes(QBoxLayout* column);
  void DataChanged();
  void Release();
  void Refresh();
  void RefreshTools();
  void Say(const QString& text) { emit StatusMessage(text); }
  bool IsOfData(CommandId command) const;
  QString SendRefusal() const;
  void Send();
  QString ChangeRefusal() const;
  bool ReadOther(const std::string& path);
  // The place of the keyboard among the bytes or messages.
  QWidget* Shown() const;
  // Lines of the selection, or all; too many: none, and the user has been told.
  std::optional<ListingLines> LinesMeant();
  std::optional<ListingLines> MessagesMeant();
  void CopyBytes();
  void Print();
  // Does something in pieces, until it says that it is over; what was done before is given up.
  void Work(std::function<bool()> step);
  void Find(std::size_t from, bool told);
  bool FindStep(bool told);
  void NotFound(bool told);

  QPointer<DocumentWindow> data_;
  int listener_ = 0;
  WindowContext& context_;
  ViewMemory& memory_;
  ListingMode mode_ = ListingMode::Raw;
  std::optional<ViewedFile> other_;  // compared
  std::string otherName_;
  std::function<bool()> step_;
  DataListing searched_;
  std::optional<ListingSearch> run_;
  std::size_t searchedFrom_ = 0;
  QTimer* timer_;
  DocumentHeader* header_;
  SysExWords words_;
  ListingView* bytes_;
  MessageView* messages_;
  bool byMessage_ = false;
  SearchField* search_;
  PlainLabel* status_;
  QStackedLayout* pages_ = nullptr;
  EmptyState* empty_ = nullptr;
  QToolButton *formatted_ = nullptr, *asMessages_ = nullptr, *compare_ = nullptr, *mismatches_ = nullptr,
              *change_ = nullptr, *get_ = nullptr, *send_ = nullptr;
};

}  // namespace tonalith
