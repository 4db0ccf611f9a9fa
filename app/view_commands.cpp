#include "app/view_commands.h"

#include <QCoreApplication>

#include "app/child_windows.h"
#include "app/command_menus.h"
#include "app/file_opening.h"
#include "ui/qt_text.h"

namespace tonalith {

namespace {

QString ViewText(const char* text) {
  return QCoreApplication::translate("ViewCommands", text);
}

}  // namespace

ViewCommands::ViewCommands(const FrameContext& frame, WindowContext& context, FileOpening& files)
    : frame_(frame), context_(context), files_(files) {
  frame_.menus.Register(CommandId::ViewSysEx,
                        {[this] { OpenView(frame_.children.Active()); }, [this] { return Refusal(); }});
}

QString ViewCommands::Refusal() const {
  ZKWindow* active = frame_.children.Active();
  if (!active) return NoWindowSentence(frame_);
  if (qobject_cast<TZKView*>(active)) return ViewText("This is the SysEx view.");
  return TZKView::CanShow(active) ? QString() : ViewText("The active window shows no data.");
}

TZKView* ViewCommands::ViewOf(const ZKWindow* window) const {
  return qobject_cast<TZKView*>(frame_.children.FirstThat([window](ZKWindow& one) {
    const auto* view = qobject_cast<TZKView*>(&one);
    return view && view->data() == window;
  }));
}

TZKView* ViewCommands::OpenView(ZKWindow* window) {
  if (!TZKView::CanShow(window)) return nullptr;
  TZKView* view = ViewOf(window);
  if (view) {
    frame_.children.Activate(view);
    return view;
  }
  view = new TZKView(*qobject_cast<DocumentWindow*>(window), context_, memory_, frame_.studio);
  QObject::connect(view, &TZKView::FilesDropped, view, [this](const QStringList& paths) { ViewFiles(paths); });
  frame_.children.Add(view);
  return view;
}

void ViewCommands::ViewFiles(const QStringList& paths) {
  for (const QString& path : paths)
    if (files_.OpenFile(ToUtf8(path), 0)) OpenView(frame_.children.Active());
}

}  // namespace tonalith
