// Every widget of the style room, alone and together, in both palettes and at two scales, as pictures to look at.

#include <gtest/gtest.h>

#include <QApplication>
#include <QBoxLayout>
#include <QCheckBox>
#include <QComboBox>
#include <QDialogButtonBox>
#include <QDir>
#include <QGridLayout>
#include <QGroupBox>
#include <QHeaderView>
#include <QLineEdit>
#include <QListView>
#include <QMainWindow>
#include <QMenu>
#include <QMenuBar>
#include <QPainter>
#include <QProgressBar>
#include <QPushButton>
#include <QRadioButton>
#include <QSlider>
#include <QSpinBox>
#include <QSplitter>
#include <QStandardItemModel>
#include <QStatusBar>
#include <QTableWidget>
#include <QToolButton>
#include <QTreeWidget>
#include <functional>

#include "ui/style/command_list.h"
#include "ui/style/document_header.h"
#include "ui/style/empty_state.h"
#include "ui/style/inspector_rows.h"
#include "ui/style/list_delegate.h"
#include "ui/style/look.h"
#include "ui/style/plain_text.h"
#include "ui/style/search_field.h"
#include "ui/style/section_button.h"
#include "ui/style/space.h"
#include "ui/style/strip_row.h"
#include "ui/style/tool_row.h"
#include "ui/style/widget_style.h"

namespace tonalith {

namespace {

using Made = std::unique_ptr<QWidget>;

class IconSheet final : public QWidget {
 public:
  QSize sizeHint() const override { return {12 * 48, (kGlyphs + 11) / 12 * 48}; }

 protected:
  void paintEvent(QPaintEvent*) override {
    QPainter painter(this);
    for (int i = 1; i < kGlyphs; ++i) {
      const QRect cell((i - 1) % 12 * 48, (i - 1) / 12 * 48, 48, 48);
      const auto glyph = static_cast<Glyph>(i);
      IconOf(glyph).paint(&painter, QRect(cell.left() + 4, cell.top() + 4, 16, 16));
      IconOf(glyph, Shade::Accent).paint(&painter, QRect(cell.left() + 22, cell.top() + 2, 24, 24));
      IconOf(glyph).paint(&painter, QRect(cell.left() + 4, cell.top() + 26, 16, 16), Qt::AlignCenter, QIcon::Disabled);
    }
  }
};

class PictureSheet final : public QWidget {
 public:
  QSize sizeHint() const override { return {6 * 80, 2 * 56}; }

 protected:
  void paintEvent(QPaintEvent*) override {
    QPainter painter(this);
    const char* names[] = {"DX7",   "K4",     "Matrix-1000",  "JV-1080",  "Blofeld", "DW-6000",
                           "FB-01", "TR-707", "Proteus 2000", "Juno-106", "M1",      "Prophet 600"};
    for (int i = 0; i < 12; ++i)
      painter.drawPixmap(QPoint(i % 6 * 80 + 8, i / 6 * 56 + 8),
                         InstrumentPicture(QStringLiteral("Maker"), QString::fromLatin1(names[i]), QSize(64, 40),
                                           devicePixelRatioF()));
  }
};

QStandardItem* Row(const QString& text, std::initializer_list<Mark> marks = {}, const QString& aside = {}) {
  auto* item = new QStandardItem(text);
  item->setData(MarksOf(marks), kMarksRole);
  if (!aside.isEmpty()) item->setData(aside, kAsideRole);
  return item;
}

QListView* PatchList(QWidget* parent) {
  auto* list = new QListView(parent);
  auto* model = new QStandardItemModel(list);
  model->appendRow(Row(QStringLiteral("Soft Bell")));
  model->appendRow(Row(QStringLiteral("Dawn Pad"), {Mark::Changed, Mark::Unsent}));
  model->appendRow(Row(QStringLiteral("Iron Reed"), {Mark::Damaged}));
  model->appendRow(Row(QStringLiteral("Write protected"), {Mark::Locked}));
  model->appendRow(Row(QStringLiteral("empty"), {Mark::Undefined}));
  model->item(4)->setData(true, kQuietRole);
  model->appendRow(Row(QStringLiteral("K4, 22 Nov"), {Mark::Busy}, QStringLiteral("36 %")));
  model->item(5)->setData(36, kProgressRole);
  model->appendRow(Row(QStringLiteral("Yamaha DX7"), {Mark::Found}));
  model->appendRow(Row(QStringLiteral("Roland JV-1080"), {Mark::Missing}, QStringLiteral("no cable")));
  list->setModel(model);
  DressList(list)->SetMarkPlaces(2);
  list->setAlternatingRowColors(true);
  list->setCurrentIndex(model->index(1, 0));
  list->setMinimumSize(320, 8 * kRowHeight + 4);
  return list;
}

ToolRow* Tools(QWidget* parent) {
  auto* row = new ToolRow(parent);
  row->Add(Glyph::Get, QStringLiteral("Get"), QStringLiteral("Get the bank from the instrument"));
  row->Add(Glyph::Send, QStringLiteral("Send 2 changed"), QStringLiteral("Send what differs"), true);
  row->Add(Glyph::Undo, {}, QStringLiteral("Undo"))->setEnabled(false);
  row->Add(Glyph::Redo, {}, QStringLiteral("Redo"));
  auto* audition = row->Add(Glyph::Audition, QStringLiteral("Audition"), QStringLiteral("Play what is chosen"));
  audition->setCheckable(true);
  audition->setChecked(true);
  row->Add(Glyph::Export, QStringLiteral("Export"), QStringLiteral("To a file"));
  row->AddToMore(Glyph::Print, QStringLiteral("Print"), [] {});
  row->SetSearch(new SearchField(QStringLiteral("Filter patches")));
  return row;
}

Made Document() {
  auto page = std::make_unique<QWidget>();
  auto* column = new QVBoxLayout(page.get());
  SetSpace(column, kWideGap, kGap);
  auto* header = new DocumentHeader;
  header->SetPicture(InstrumentPicture(QStringLiteral("Yamaha"), QStringLiteral("DX7"), DocumentHeader::kPicture, 2));
  header->SetTitle(QStringLiteral("Stage bank"));
  header->SetSecondary(QStringLiteral("DX7 Voice Bank · 32 patches · 3 changed since saved · 2 not sent"));
  header->SetMark(Mark::Changed, true);
  header->SetMark(Mark::Unsent, true);
  column->addWidget(header);
  column->addWidget(Tools(page.get()));
  column->addWidget(PatchList(page.get()));
  return page;
}

Made Strip() {
  auto box = std::make_unique<QWidget>();
  auto* column = new QVBoxLayout(box.get());
  SetSpace(column, 0, 0);
  using Phase = StripState::Phase;
  const StripState states[] = {
      {Glyph::Get, Phase::Running, QStringLiteral("Kawai K4 · Single Bank"), QStringLiteral("patch 23 of 64"), 23, 64,
       TimeLeftText(9), true},
      {Glyph::Send,
       Phase::Waiting,
       QStringLiteral("Yamaha DX7 · Voice Bank"),
       QStringLiteral("waits for the port"),
       0,
       0,
       {},
       true},
      {Glyph::Send,
       Phase::Done,
       QStringLiteral("Oberheim Matrix-1000 · Bank 0"),
       QStringLiteral("100 patches sent"),
       1,
       1,
       {},
       true},
      {Glyph::Get, Phase::Failed, QStringLiteral("Roland JV-1080"), QStringLiteral("no answer"), 1, 1, {}, true}};
  for (const StripState& state : states) {
    auto* row = new StripRow;
    row->SetState(state);
    column->addWidget(row);
  }
  box->resize(900, box->sizeHint().height());
  return box;
}

Made Inspector() {
  auto rows = std::make_unique<InspectorRows>();
  rows->AddHeading(QStringLiteral("Dawn Pad"), QStringLiteral("Patch 2 of Stage bank · DX7 voice"));
  rows->AddSection({});
  rows->AddEditable(QStringLiteral("Name"), QStringLiteral("Dawn Pad"), {}, {});
  rows->AddTags(QStringLiteral("Tags"), {QStringLiteral("Pad"), QStringLiteral("Warm"), QStringLiteral("Layer")},
                [](const QStringList&) {});
  rows->AddText(QStringLiteral("Comment"), QStringLiteral("Opens with the wheel; leave room below for the strings."));
  rows->AddEditable(QStringLiteral("Author"), {}, QStringLiteral("add..."), {});
  rows->AddSection(QStringLiteral("Used by"));
  rows->AddLink({}, QStringLiteral("Live rig · Multi 3 \"Opener\""), [] {});
  rows->AddSection(QStringLiteral("History of memory 2"));
  rows->AddText(QStringLiteral("22 Nov 14:02"), QStringLiteral("sent, verified"));
  rows->AddHint(QStringLiteral("Nothing older is known."));
  rows->resize(290, 480);
  return rows;
}

Made Commands() {
  auto list = std::make_unique<CommandList>(QStringLiteral("Find a command, instrument, patch"));
  list->setWindowFlags(Qt::Widget);
  list->SetEntries({{Glyph::Save, QStringLiteral("Save"), QStringLiteral("File"), QStringLiteral("Ctrl+S"), [] {}},
                    {Glyph::SaveAs, QStringLiteral("Save as"), QStringLiteral("File"), {}, [] {}},
                    {Glyph::Send,
                     QStringLiteral("Send"),
                     QStringLiteral("MIDI"),
                     {},
                     {},
                     false,
                     QStringLiteral("no instrument is chosen")},
                    {Glyph::Bank, QStringLiteral("Stage bank"), QStringLiteral("Yamaha DX7"), {}, [] {}}});
  list->field()->setText(QStringLiteral("s"));
  list->resize(560, 260);
  return list;
}

Made Empty() {
  auto empty = std::make_unique<EmptyState>(Glyph::Studio, QStringLiteral("No instruments yet"),
                                            QStringLiteral("Add them yourself, or let AutoSense look for them."));
  empty->AddButton(QStringLiteral("Add instrument"), {});
  empty->AddButton(QStringLiteral("AutoSense"), {});
  empty->resize(420, 280);
  return empty;
}

Made Marks() {
  auto box = std::make_unique<QWidget>();
  auto* column = new QVBoxLayout(box.get());
  SetSpace(column, kWideGap, kGap);
  for (int i = 0; i < kMarks; ++i) column->addWidget(new MarkLabel(static_cast<Mark>(i), true));
  return box;
}

QWidget* Fields(QWidget* parent) {
  auto* page = new QWidget(parent);
  auto* grid = new QGridLayout(page);
  SetSpace(grid, kWideGap, kGap);
  auto* edit = new QLineEdit(QStringLiteral("Dawn Pad"));
  auto* off = new QLineEdit(QStringLiteral("switched off"));
  off->setEnabled(false);
  auto* combo = new QComboBox;
  combo->addItems({QStringLiteral("MIDI Out 1"), QStringLiteral("MIDI Out 2")});
  auto* open = new QComboBox;
  open->setEditable(true);
  open->addItem(QStringLiteral("typed"));
  auto* spin = new QSpinBox;
  spin->setSuffix(QStringLiteral(" ms"));
  spin->setValue(75);
  auto* slider = new QSlider(Qt::Horizontal);
  slider->setValue(30);
  auto* bar = new QProgressBar;
  bar->setValue(36);
  QWidget* rows[] = {edit, off, combo, open, spin, slider, bar};
  int row = 0;
  for (QWidget* widget : rows) {
    grid->addWidget(new PlainLabel(QStringLiteral("Label")), row, 0);
    grid->addWidget(widget, row++, 1);
  }
  row = 0;
  for (const bool on : {true, false}) {
    for (const bool enabled : {true, false}) {
      auto* check = new QCheckBox(QStringLiteral("Check"));
      auto* radio = new QRadioButton(QStringLiteral("Radio"));
      radio->setAutoExclusive(false);
      for (QAbstractButton* button : {static_cast<QAbstractButton*>(check), static_cast<QAbstractButton*>(radio)}) {
        button->setEnabled(enabled);
        button->setCheckable(true);
        button->setChecked(on);
      }
      grid->addWidget(check, row, 2);
      grid->addWidget(radio, row++, 3);
    }
  }
  auto* group = new QGroupBox(QStringLiteral("Group"));
  auto* inside = new QVBoxLayout(group);
  inside->addWidget(new QCheckBox(QStringLiteral("Inside")));
  grid->addWidget(group, 4, 2, 3, 2);
  return page;
}

QTableWidget* Table(QWidget* parent) {
  auto* table = new QTableWidget(6, 3, parent);
  table->setHorizontalHeaderLabels({QStringLiteral("No"), QStringLiteral("Name"), QStringLiteral("Size")});
  for (int row = 0; row < 6; ++row) {
    auto* number = new QTableWidgetItem(QString::number(row * 7 + 1));
    number->setData(kNumberRole, true);
    auto* size = new QTableWidgetItem(QStringLiteral("%1 bytes").arg(row * 111));
    size->setData(kNumberRole, true);
    table->setItem(row, 0, number);
    table->setItem(row, 1, new QTableWidgetItem(QStringLiteral("Patch")));
    table->setItem(row, 2, size);
  }
  table->setSelectionBehavior(QAbstractItemView::SelectRows);
  DressList(table);
  table->selectRow(2);
  table->horizontalHeader()->setSectionResizeMode(1, QHeaderView::Stretch);
  return table;
}

QTreeWidget* Tree(QWidget* parent) {
  auto* tree = new QTreeWidget(parent);
  tree->setHeaderHidden(true);
  for (const char* name : {"Yamaha DX7", "Kawai K4"}) {
    auto* item = new QTreeWidgetItem(tree, {QString::fromLatin1(name)});
    item->setData(0, kAsideMarksRole, MarksOf({Mark::Found}));
    item->setFont(0, HeadingFont(tree->font()));
    for (const char* type : {"Voice Bank", "Voice"}) {
      auto* kind = new QTreeWidgetItem(item, {QString::fromLatin1(type)});
      auto* bank = new QTreeWidgetItem(kind, {QStringLiteral("Stage bank")});
      bank->setData(0, kAsideMarksRole, MarksOf({Mark::Changed, Mark::Unsent}));
    }
  }
  tree->expandAll();
  DressList(tree);
  tree->setCurrentItem(tree->topLevelItem(0)->child(0)->child(0));
  return tree;
}

Made Widgets() {
  auto page = std::make_unique<QWidget>();
  auto* column = new QVBoxLayout(page.get());
  SetSpace(column, kWideGap, kGap);
  auto* tabs = new QTabWidget;
  tabs->setTabsClosable(true);
  tabs->setDocumentMode(true);
  tabs->addTab(Fields(tabs), QStringLiteral("Stage bank"));
  tabs->addTab(new QWidget, QStringLiteral("K4, 22 Nov"));
  tabs->addTab(new QWidget, QStringLiteral("Bells and basses"));
  column->addWidget(tabs);
  auto* lists = new QSplitter;
  lists->addWidget(Tree(lists));
  lists->addWidget(Table(lists));
  column->addWidget(lists);
  auto* buttons = new QDialogButtonBox(QDialogButtonBox::Save | QDialogButtonBox::Cancel | QDialogButtonBox::Discard);
  SetPrimary(buttons->button(QDialogButtonBox::Save));
  buttons->button(QDialogButtonBox::Discard)->setEnabled(false);
  column->addWidget(buttons);
  page->resize(640, 640);
  return page;
}

Made Menus() {
  auto window = std::make_unique<QMainWindow>();
  QMenu* menu = window->menuBar()->addMenu(QStringLiteral("&File"));
  window->menuBar()->addMenu(QStringLiteral("&Edit"));
  menu->addAction(IconOf(Glyph::Open), QStringLiteral("&Open..."), QKeySequence(QStringLiteral("Ctrl+O")), [] {});
  menu->addAction(IconOf(Glyph::Save), QStringLiteral("&Save"))->setEnabled(false);
  menu->addSeparator();
  QAction* checked = menu->addAction(QStringLiteral("Status &bar"));
  checked->setCheckable(true);
  checked->setChecked(true);
  menu->addMenu(QStringLiteral("&Recent files"))->addAction(QStringLiteral("none"));
  menu->setActiveAction(menu->actions().first());
  auto* shown = new QWidget;
  auto* column = new QVBoxLayout(shown);
  menu->setParent(shown, Qt::Widget);
  column->addWidget(menu);
  menu->show();
  window->setCentralWidget(shown);
  window->statusBar()->addWidget(new PlainLabel(QStringLiteral("Dawn Pad moved to 2.")));
  return window;
}

Made Sections() {
  auto page = std::make_unique<QWidget>();
  auto* column = new QVBoxLayout(page.get());
  for (const bool open : {true, false}) {
    auto* body = new PlainLabel(QStringLiteral("Read from Dawn Pads.DAT"), page.get());
    auto* heading = new SectionButton(open ? QStringLiteral("Origin") : QStringLiteral("History"), body, page.get());
    heading->SetOpen(open);
    column->addWidget(heading, 0, Qt::AlignLeft);
    column->addWidget(body);
  }
  return page;
}

struct Piece {
  const char* name;
  std::function<Made()> make;
};

const Piece kPieces[] = {
    {"icons", [] { return Made(new IconSheet); }},
    {"instruments", [] { return Made(new PictureSheet); }},
    {"document", Document},
    {"strip", Strip},
    {"inspector", Inspector},
    {"sections", Sections},
    {"commands", Commands},
    {"empty", Empty},
    {"marks", Marks},
    {"widgets", Widgets},
    {"menus", Menus},
};

bool IsOneColour(const QImage& image) {
  for (int y = 0; y < image.height(); ++y)
    for (int x = 0; x < image.width(); ++x)
      if (image.pixel(x, y) != image.pixel(0, 0)) return false;
  return true;
}

}  // namespace

TEST(Gallery, EveryPieceInBothPalettesAtTwoScales) {
  const QString folder = QStringLiteral(TONALITH_BINARY_DIR "/artefacts/gallery");
  ASSERT_TRUE(QDir().mkpath(folder));
  for (const Look look : {Look::Light, Look::Dark}) {
    SetLook(look);
    for (const Piece& piece : kPieces) {
      const Made widget = piece.make();
      if (!widget->testAttribute(Qt::WA_Resized)) widget->resize(widget->sizeHint());
      widget->show();
      QApplication::processEvents();
      for (const int scale : {1, 2}) {
        QImage image(widget->size() * scale, QImage::Format_RGB32);
        image.setDevicePixelRatio(scale);
        image.fill(ColourOf(Shade::Window));
        widget->render(&image);
        EXPECT_FALSE(IsOneColour(image)) << piece.name;
        const QString name =
            QStringLiteral("%1/%2-%3-%4.png")
                .arg(folder, QLatin1String(piece.name), QLatin1String(look == Look::Dark ? "dark" : "light"))
                .arg(scale * 100);
        EXPECT_TRUE(image.save(name)) << piece.name;
      }
    }
  }
}

}  // namespace tonalith

int main(int argc, char** argv) {
  ::testing::InitGoogleTest(&argc, argv);
  if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) qputenv("QT_QPA_PLATFORM", "offscreen");
  QApplication application(argc, argv);
  return RUN_ALL_TESTS();
}
