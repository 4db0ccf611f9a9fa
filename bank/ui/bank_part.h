#pragma once

#include <QString>
#include <memory>
#include <vector>

#include "ui/commands.h"

class QMenu;

namespace tonalith {

class TZKBank;

// Menus of a bank's window, beside the program's own.
enum class BankMenu {
  Quick,   // of the right button
  Export,  // of the tool "Export"
  More,    // behind the tools
};

// Some commands of the bank's window, in files of their own: what they do and when they are off.  Their rows stand in
// the command table (ui/commands.cpp, menu "Bank" or another, owner: the child window), which gives them text, keys and
// help.  A part lives as long as its window.
class BankWindowPart {
 public:
  virtual ~BankWindowPart() = default;

  // Whether the command is one of this part's.  Nothing below is asked for another one.
  virtual bool Has(CommandId command) const = 0;
  // Why it is off now, a sentence; empty: it is on.
  virtual QString Refusal(CommandId command) const = 0;
  virtual void Run(CommandId command) = 0;
  // Of a command with a check mark.
  virtual bool IsChecked(CommandId /*command*/) const { return false; }
  // What its entries are called now; empty: as in the command table.
  virtual QString Text(CommandId /*command*/) const { return {}; }

  // The part's entries in a menu, in their order; CommandId::None is a line.  Entries whose row names a submenu stand
  // in a menu of that name.
  virtual std::vector<CommandId> EntriesOf(BankMenu /*menu*/) const { return {}; }

  // The selected patches, or the current one, are others.
  virtual void SelectionChanged() {}
  // The data changed, or its state (busy, file, undo).
  virtual void DocumentChanged() {}
  virtual void SettingsChanged() {}
};

// The parts of a window in the order of their menus; one line for each in bank_parts.cpp.
std::vector<std::unique_ptr<BankWindowPart>> MakeBankParts(TZKBank& window);

// Fills a menu with the parts' entries, a line between two parts.  Entries run the window's commands; those that are
// off say why.
void FillBankMenu(QMenu* menu, TZKBank& window, BankMenu which);

}  // namespace tonalith
