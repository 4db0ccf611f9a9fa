#pragma once

#include <QAbstractTableModel>
#include <QColor>
#include <memory>

#include "platform/prompts.h"
#include "tools/monitor_document.h"
#include "tools/sysex_words.h"
#include "ui/window_base.h"

class QAction;
class QBoxLayout;
class QStackedLayout;
class QTableView;
class QTimer;
class QToolButton;

namespace tonalith {

class ActivityLight;
class EmptyState;
class ListSearch;
class MidiPortSystem;
class PlainLabel;
class RowFilter;
class SearchField;
class ZKStudioDoc;

// The lines of a monitor as rows; rows are made only for what is seen.
class MonitorModel final : public QAbstractTableModel {
  Q_OBJECT

 public:
  enum Column { kTime = 0, kDelta, kBytes, kDescription, kColumns };

  explicit MonitorModel(const MonitorDocument& document, QObject* parent = nullptr);
  // The document's lines changed: tells the views which rows went and came.
  void Sync();
  // Bytes and words of a row, for a search.
  QString TextOf(int row) const;

  int rowCount(const QModelIndex& parent = {}) const override;
  int columnCount(const QModelIndex& parent = {}) const override;
  QVariant data(const QModelIndex& index, int role) const override;
  QVariant headerData(int section, Qt::Orientation orientation, int role) const override;

 private:
  static QColor ColorOf(MonitorColor color);
  const TextLine* LineOf(int row) const;

  const MonitorDocument& document_;
  std::uint64_t first_ = 0;  // number of the first row's line since the start
  int rows_ = 0;
};

// A text monitor: every message that comes in or goes out, a line each.
class TZKMonText final : public ZKWindow {
  Q_OBJECT

 public:
  // The registry, the prompts and the studio (may be null) must outlive the window.
  TZKMonText(MonitorRegistry& registry, Prompts& prompts, const ZKStudioDoc* studio, QWidget* parent = nullptr);
  ~TZKMonText() override;

  MonitorDocument& document() { return document_; }
  // What went wrong on its ports stands below the lines from now on.
  void WatchPorts(MidiPortSystem& midi) { midi_ = &midi; }
  PlainLabel* troubles() { return troubles_; }
  MonitorModel* model() { return model_; }
  QTableView* table() { return table_; }
  SearchField* Search() const override { return search_; }
  // The instruments of the studio changed.
  void StudioChanged() override { words_.StudioChanged(); }
  // Ports came or went; `changes` holds kPortsRemoved and kPortsAdded.
  void PortsChanged(int changes) override;

  void OnMonNoteOff() { Toggle(MonitorKind::NoteOff); }
  void OnMonNoteOn() { Toggle(MonitorKind::NoteOn); }
  void OnMonPolyTouch() { Toggle(MonitorKind::PolyTouch); }
  void OnMonControllers() { Toggle(MonitorKind::Controllers); }
  void OnMonPatchChange() { Toggle(MonitorKind::PatchChange); }
  void OnMonAftertouch() { Toggle(MonitorKind::Aftertouch); }
  void OnMonPitchWheel() { Toggle(MonitorKind::PitchWheel); }
  void OnMonSystem() { Toggle(MonitorKind::System); }
  void OnMonSysX() { Toggle(MonitorKind::SysX); }
  void OnMonMidiInPorts();
  void OnMonMidiOutPorts();
  void OnEditClear();
  void OnEditCopy();
  void OnMonCopyMIDIData() { CopyMidi(true, true); }
  void OnMonCopyMIDIInData() { CopyMidi(true, false); }
  void OnMonCopyMIDIOutData() { CopyMidi(false, true); }
  void OnFileSaveAs();
  void MonitorMsg(const std::string& text) { document_.MonitorMsg(text); }

  WindowType TypeCode() const override { return WindowType::Monitor; }
  bool VerifyClose() override { return true; }
  bool CommandEnabled(CommandId command) const override;
  void RunCommand(CommandId command) override;

 private:
  void Toggle(MonitorKind kind);
  void BuildBar(QBoxLayout* layout);
  void BuildShowMenu(QToolButton* show);
  void BuildLines(QBoxLayout* layout);
  void ShowLines();
  void ShowEarlier();
  void BuildLights();
  void Tick();
  void ShowTroubles();
  void CopyMidi(bool input, bool output);
  // What copies and files hold: the lines that are shown.
  MonitorDocument::Lines ShownLinesOf() const;
  QString SearchSummary() const;

  MonitorRegistry& registry_;
  Prompts& prompts_;
  SysExWords words_;
  MonitorDocument document_;
  MonitorModel* model_;
  QTableView* table_;
  SearchField* search_;
  RowFilter* filter_;
  ListSearch* found_;
  QTimer* timer_;
  QWidget* lightRow_;
  PlainLabel* troubles_;
  MidiPortSystem* midi_ = nullptr;
  int ticks_ = 0;
  std::vector<ActivityLight*> lights_;
  std::vector<QAction*> kinds_;
  QAction* showInput_ = nullptr;
  QAction* showOutput_ = nullptr;
  QAction* follow_ = nullptr;
  QAction* pause_ = nullptr;
  QAction* earlier_ = nullptr;
  QStackedLayout* lines_ = nullptr;
  EmptyState* empty_ = nullptr;
};

// Opens a text monitor.
TZKMonText* ZKMonChild(MonitorRegistry& registry, Prompts& prompts, const ZKStudioDoc* studio, QWidget* parent);

}  // namespace tonalith
