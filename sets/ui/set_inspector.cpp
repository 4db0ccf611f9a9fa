#include "sets/ui/set_inspector.h"

#include <QCoreApplication>
#include <QLocale>
#include <utility>

#include "sets/ui/set_list.h"
#include "store/sets/set_document.h"
#include "ui/plain_text.h"

namespace tonalith {

namespace {

QString InspectorWords(const char* text) {
  return QCoreApplication::translate("SetInspector", text);
}

InspectorRow FileRow(const ZKGrpDoc& set, int component) {
  InspectorRow row;
  row.label = InspectorWords("File");
  if (set.StateOf(component).linked) {
    row.value = ShownUtf8(set.LinkPath(component));
    row.tip = ShownUtf8(set.LinkProblem(component));
  } else if (set.path().empty()) {
    row.value = InspectorWords("not saved yet");
  } else {
    row.value = ShownUtf8(set.FileName());
    row.tip = ShownUtf8(set.path());
  }
  return row;
}

}  // namespace

InspectorContent InspectComponent(const ZKGrpDoc& set, int component) {
  InspectorContent content;
  if (!set.Has(component)) return content;
  content.key = QString::number(component);
  content.title = ShownUtf8(set.TypeName(component));
  content.subtitle = ShownUtf8(set.InstrumentOf(component));
  InspectorSection section;
  const auto add = [&](const char* label, const QString& value) {
    InspectorRow row;
    row.label = InspectorWords(label);
    row.value = value;
    section.rows.push_back(std::move(row));
  };
  add("State", ComponentState(set, component));
  if (const auto bytes = set.SysExBytes(component); bytes > 0)
    add("Size", InspectorWords("%1 bytes").arg(QLocale().toString(bytes)));
  section.rows.push_back(FileRow(set, component));
  content.sections.push_back(std::move(section));
  return content;
}

}  // namespace tonalith
