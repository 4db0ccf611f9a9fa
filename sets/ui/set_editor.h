#pragma once

#include <QString>
#include <functional>
#include <string>

#include "data/data_records.h"

#include "document/document.h"
#include "platform/result.h"

class QWidget;

namespace tonalith {

class TZKBank;
class WindowContext;
class ZKBankDoc;
class ZKGrpDoc;
class ZKWindow;

// The bank's window of one component, inside the window of the Set.  It works on a copy: what is changed there becomes
// an entry of the Set's history at once, and what is changed in the Set (Undo, Get, Clear) comes back.  Its commands to
// save and to undo are the Set's.
class SetEditor final {
 public:
  struct Host {
    std::function<void(const std::string& sentence)> say;
    // What was made of a component goes into the Set.
    std::function<Result(int component, DataFilePtr data, const std::string& name)> put;
    // What is said of a patch beside its name; empty: nothing.
    std::function<QString(int component, int patch)> note;
  };
  // `window`: the Set's.
  SetEditor(ZKGrpDoc& set, int component, WindowContext& context, ZKWindow& window, QWidget* parent, const Host& host);
  // Ends its transfer; the window inside goes with it.
  ~SetEditor();
  SetEditor(const SetEditor&) = delete;
  SetEditor& operator=(const SetEditor&) = delete;

  TZKBank* bank() const { return bank_; }
  // A transfer of its own runs.
  bool IsBusy() const { return busy_; }
  // The Set changed; `everything`, or this component.
  void Follow();
  // What is said of the patches is something else now.
  void RenewNotes();
  // Somebody else works on the Set.
  void SetLocked(bool locked);

 private:
  void Changed(const DocumentChange& change);
  // `arrived`: from the instrument, whose other data goes by its numbers.
  void Take(bool arrived);
  void FollowContent();

  ZKGrpDoc& set_;
  int component_;
  Host host_;
  TZKBank* bank_;
  ZKBankDoc& document_;
  int listener_ = 0;
  bool following_ = false, busy_ = false, locked_ = false;
};

}  // namespace tonalith
