#pragma once

#include <memory>
#include <string>

#include "document/document.h"
#include "document/move.h"
#include "platform/prompts.h"
#include "ui/plain_text.h"
#include "ui/window_base.h"
#include "ui/window_context.h"

namespace tonalith {

// A child window on a document, of whatever kind: title, saving, undo and redo, and the questions before it closes.  A
// kind of window is a subclass with its view and its commands.
class DocumentWindow : public ZKWindow, public MoveTarget {
  Q_OBJECT

 public:
  // The context must outlive the window.
  DocumentWindow(std::unique_ptr<Document> document, WindowContext& context, QWidget* parent = nullptr);
  ~DocumentWindow() override;

  Document& document() { return *document_; }
  const Document& document() const { return *document_; }

  WindowType TypeCode() const override { return document_->Window(); }
  std::string FilePath() const override { return document_->path(); }
  // Asks about a transfer that is under way, then about changes.  A transfer is given up when the window closes, or
  // before its data is saved.
  bool VerifyClose() override;
  // Save, Save As, Undo, Redo.
  bool CommandEnabled(CommandId command) const override;
  void RunCommand(CommandId command) override;
  QString CommandRefusal(CommandId command) const override;

  // A kind of window that takes data from others overrides both; this one refuses with a sentence.
  std::string AcceptsMove(const MoveOffer& offer) const override;
  MoveResult ReceiveMove(Move&& move) override;

  // What the window gives to others: why there is nothing, a sentence, empty: there is something; what it would be; and
  // the data itself, made now.  This one gives nothing.
  virtual std::string MoveOutRefusal() const;
  virtual MoveOffer OfferOut() const { return {}; }
  virtual Result MoveOut(Move* move);

  // As tabs and headings say it: of its file, of what it was taken out of, else that it is new.
  virtual QString ShownName() const;
  // Data of the instrument that the window belongs to; null: of none, or of several.
  virtual const DataFile* InstrumentData() const { return nullptr; }
  // Something of it was changed since it came from the instrument or was sent.
  virtual bool DiffersFromInstrument() const { return false; }

  // To the document's own file; with `askName`, or without a file, the user is asked for one.  False: nothing was
  // saved, and where something failed the user has been told.
  bool Save(bool askName);
  // The name for a new file, without folder.
  std::string NewFileName() const;
  // Ends what keeps the document busy; it is free when this returns.
  virtual void GiveUpWork() {}

 protected:
  WindowContext& context() const { return context_; }
  // A sentence for the user: in the window where it has a place for it, and in the frame's status line.
  virtual void Say(const QString& text) { emit StatusMessage(text); }
  // The document changed; title and commands have been brought up to date.
  virtual void DocumentChanged(const DocumentChange& change) { (void)change; }
  // What the window is called, in the titles of questions.
  virtual std::string WindowName() const = 0;
  // The window's title, with "[*]" where the mark of unsaved changes stands.
  virtual QString TitleText() const;
  // The title of the file dialog.
  virtual std::string SaveTitle() const { return "Save As"; }
  // The title as the document is now; a subclass calls it when it is made.
  void UpdateTitle();

 private:
  bool VerifyBusy();
  bool VerifyModified();
  std::string AskPath();
  bool SaveTo(const std::string& path, bool overChangedFile);
  bool SaveOverChanged(const std::string& path);
  void StepHistory(bool back);

  std::unique_ptr<Document> document_;
  WindowContext& context_;
  int listener_ = 0;
};

}  // namespace tonalith
