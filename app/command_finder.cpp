#include "app/command_finder.h"

#include <QAction>
#include <QMainWindow>
#include <QPointer>
#include <algorithm>

#include "app/child_windows.h"
#include "app/command_menus.h"
#include "app/studio_commands.h"
#include "studio/studio_document.h"
#include "studio/ui/studio_tree.h"
#include "studio/ui/studio_window.h"
#include "ui/command_glyphs.h"
#include "ui/plain_text.h"
#include "ui/window_base.h"

namespace tonalith {

namespace {

// A text of the table as it is read: without the mark of its letter and the dots of a dialog.
QString Words(const char* text) {
  QString words = QString::fromLatin1(text);
  return words.remove('&').remove(QStringLiteral("..."));
}

QString PlaceOf(const CommandRow& row) {
  const QString menu = Words(MenuTitles()[static_cast<std::size_t>(row.menu)]);
  return *row.submenu ? menu + QStringLiteral(" > ") + Words(row.submenu) : menu;
}

}  // namespace

CommandFinder::CommandFinder(const FrameContext& frame, StudioCommands& studio)
    : QObject(&frame.window),
      frame_(frame),
      studio_(studio),
      list_(new CommandList(tr("Find a command, instrument or open document"), &frame.window)) {
  frame_.menus.Register(CommandId::ViewFind, {[this] { Show(); }});
}

void CommandFinder::Show() {
  frame_.menus.Update();
  list_->SetEntries(Entries());
  list_->Popup(&frame_.window);
}

std::vector<CommandEntry> CommandFinder::Entries() {
  std::vector<CommandEntry> entries;
  AddDocuments(entries);
  AddCommands(entries);
  AddInstruments(entries);
  AddTypes(entries);
  return entries;
}

void CommandFinder::AddDocuments(std::vector<CommandEntry>& entries) {
  for (ZKWindow* child : frame_.children.All()) {
    CommandEntry entry;
    entry.glyph = Glyph::Document;
    entry.text = child->WithTwin(ShownTitle(child));
    entry.where = tr("Open window");
    entry.run = [this, window = QPointer<ZKWindow>(child)] {
      if (window) frame_.children.Activate(window);
    };
    entries.push_back(std::move(entry));
  }
}

void CommandFinder::AddCommands(std::vector<CommandEntry>& entries) {
  for (const CommandRow& row : CommandTable()) {
    const QAction* action = frame_.menus.ActionOf(row.id);
    if (!action || !action->isVisible() || row.owner == CommandOwner::Menu || row.id == CommandId::ViewFind) continue;
    CommandEntry entry;
    entry.glyph = action->isCheckable() && action->isChecked() ? Glyph::Check : GlyphOf(row.id);
    entry.text = Words(row.text);
    entry.where = PlaceOf(row);
    entry.shortcut = action->shortcut().toString(QKeySequence::NativeText);
    entry.reason = frame_.menus.Refusal(row.id);
    entry.enabled = entry.reason.isEmpty();
    entry.run = [this, id = row.id] { frame_.menus.Run(id); };
    entries.push_back(std::move(entry));
  }
}

void CommandFinder::AddInstruments(std::vector<CommandEntry>& entries) {
  for (const auto& instrument : frame_.studio.instruments()) {
    CommandEntry entry;
    entry.glyph = Glyph::Keyboard;
    entry.text = ShownLatin1(instrument->DisplayKey());
    entry.where = tr("Studio");
    entry.run = [this, node = instrument.get()] {
      if (Has(node)) studio_.Show()->tree()->SetCurrentNode(node);
    };
    entries.push_back(std::move(entry));
  }
}

void CommandFinder::AddTypes(std::vector<CommandEntry>& entries) {
  const QString refusal = frame_.menus.Refusal(CommandId::MidiTestCable);
  for (const auto& instrument : frame_.studio.instruments()) {
    for (const auto& driver : instrument->drivers) {
      CommandEntry entry;
      entry.glyph = Glyph::Get;
      entry.text = tr("Get %1").arg(ShownLatin1(driver->TypeName()));
      entry.where = ShownLatin1(instrument->DisplayKey());
      entry.reason = refusal;
      entry.enabled = refusal.isEmpty();
      entry.run = [this, node = driver.get()] {
        if (Has(node)) studio_.OpenDriver(node, true);
      };
      entries.push_back(std::move(entry));
    }
  }
}

bool CommandFinder::Has(const ZKDrvList* node) const {
  const auto is = [node](const auto& other) { return other.get() == node; };
  const auto& instruments = frame_.studio.instruments();
  return std::any_of(instruments.begin(), instruments.end(), [&](const auto& instrument) {
    return is(instrument) || std::any_of(instrument->drivers.begin(), instrument->drivers.end(), is);
  });
}

}  // namespace tonalith
