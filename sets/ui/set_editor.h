#pragma once

#include <functional>
#include <string>

#include "document/document.h"

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
  // `window`: the Set's.  `say`: a sentence for the user.
  SetEditor(ZKGrpDoc& set, int component, WindowContext& context, ZKWindow& window, QWidget* parent,
            std::function<void(const std::string& sentence)> say);
  // Ends its transfer; the window inside goes with it.
  ~SetEditor();
  SetEditor(const SetEditor&) = delete;
  SetEditor& operator=(const SetEditor&) = delete;

  TZKBank* bank() const { return bank_; }
  // A transfer of its own runs.
  bool IsBusy() const { return busy_; }
  // The Set changed; `everything`, or this component.
  void Follow();
  // Somebody else works on the Set.
  void SetLocked(bool locked);

 private:
  void Changed(const DocumentChange& change);
  void Take();
  void FollowContent();

  ZKGrpDoc& set_;
  int component_;
  std::function<void(const std::string& sentence)> say_;
  TZKBank* bank_;
  ZKBankDoc& document_;
  int listener_ = 0;
  bool following_ = false, busy_ = false, locked_ = false;
};

}  // namespace tonalith
