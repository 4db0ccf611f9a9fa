// The rows of the Inspector: what a thing is called, labels with values, links, tags, sections.
#pragma once

#include <QStringList>
#include <QWidget>
#include <functional>

class QGridLayout;
class QLineEdit;

namespace tonalith {

class InspectorRows : public QWidget {
  Q_OBJECT

 public:
  explicit InspectorRows(QWidget* parent = nullptr);

  void Clear();
  // On top: the name in the font of titles and a line in secondary text.
  void AddHeading(const QString& title, const QString& secondary);
  // A line across, then the section's heading; no heading for an empty title.
  void AddSection(const QString& title);
  // Wrapping text that can be selected with mouse and keyboard; no label: it takes the whole width.
  void AddText(const QString& label, const QString& value);
  // Secondary text of the whole width.
  void AddHint(const QString& text);
  void AddLink(const QString& label, const QString& text, std::function<void()> open);
  // `changed` is called with the new text when Return is pressed or the field is left; Escape brings the old text back.
  QLineEdit* AddEditable(const QString& label, const QString& value, const QString& placeholder,
                         std::function<void(const QString&)> changed);
  // Chips; with `changed` each can be taken away and new ones added, and it gets all that are left.
  void AddTags(const QString& label, const QStringList& tags, std::function<void(const QStringList&)> changed = {});

 private:
  void AddRow(const QString& label, QWidget* value);

  QGridLayout* grid_;
  QWidget* content_ = nullptr;
};

}  // namespace tonalith
