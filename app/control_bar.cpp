#include "app/control_bar.h"

#include <QMainWindow>

#include "platform/path_resolver.h"
#include "ui/commands.h"
#include "ui/qt_text.h"

namespace tonalith {

namespace {

constexpr ControlBarSlot kSlots[] = {
    {57601, 1}, {57603, 2}, {-1, 0},   {57635, 3}, {57634, 4}, {57637, 5},  {-1, 0}, {514, 7},
    {546, 8},   {35772, 9}, {518, 10}, {-1, 0},    {405, 11},  {406, 12},   {-1, 0}, {519, 13},
    {520, 14},  {-1, 0},    {400, 15}, {403, 16},  {-1, 0},    {35774, 17}, {-1, 0}, {1011, 18},
};

// Where a command's entry is, and what it is called.
QString CommandText(int command) {
  for (const CommandRow& row : CommandTable()) {
    if (static_cast<int>(row.id) != command) continue;
    QString name = QString::fromLatin1(row.text).remove(QLatin1Char('&')).remove(QStringLiteral("..."));
    if (*row.shortcut) name += QStringLiteral(" (%1)").arg(QString::fromLatin1(row.shortcut));
    return QString::fromLatin1(row.help) + QLatin1Char('\n') + name;
  }
  return {};
}

QString PicturePath(const std::string& resources, const std::string& name) {
  const auto found = FindPath(resources, "ZKBmp\\ButtonBars\\" + name, PathTrust::Trusted);
  return found ? FromUtf8(*found) : QString();
}

}  // namespace

std::span<const ControlBarSlot> ControlBarSlots() {
  return kSlots;
}

ZKControlBar::ZKControlBar(const std::string& resourcePath, QWidget* parent)
    : QToolBar(tr("Control Bar"), parent), icons_(new TZKIconBar2(this)) {
  setObjectName(QStringLiteral("ZKControlBar"));
  setMovable(false);
  toggleViewAction()->setVisible(false);
  icons_->SetBackground(PicturePath(resourcePath, "Button Background.bmp"));
  for (const ControlBarSlot& slot : kSlots) {
    if (slot.command == kSeparatorCommand) {
      icons_->AddSeparator();
    } else {
      icons_->AddButton(slot.command,
                        PicturePath(resourcePath, "Main\\Button ZK " + std::to_string(slot.picture) + ".bmp"),
                        CommandText(slot.command));
    }
  }
  addWidget(icons_);
}

void ZKControlBar::MoveToCorner(QMainWindow* window, int corner) {
  if (corner == corner_) return;
  corner_ = corner;
  delete spacer_;
  spacer_ = nullptr;
  if ((corner & 1) != 0) {
    auto* space = new QWidget(this);
    space->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Preferred);
    spacer_ = insertWidget(actions().front(), space);
  }
  const bool hidden = isHidden();
  window->addToolBar((corner & 2) != 0 ? Qt::BottomToolBarArea : Qt::TopToolBarArea, this);
  setHidden(hidden);
}

}  // namespace tonalith
