#pragma once

#include <QString>
#include <functional>
#include <vector>

namespace tonalith {

// What is known of the thing that is selected in a window: plain data, made anew whenever it changes.  Texts are shown
// as they stand, so they come through the doors of ui/plain_text.h; what is edited is the text itself.

struct InspectorRow {
  enum class Kind {
    Text,   // one line
    Lines,  // several lines
    Words,  // words, each by itself; written with commas between them
  };
  // Takes what the user typed.  Gives a sentence when it was not taken, or not as it was typed; else an empty one.
  using Edit = std::function<QString(const QString& text)>;

  QString label{};  // empty: the value takes the whole width
  QString value{};
  Kind kind = Kind::Text;
  Edit edit{};                   // none: the value is only shown
  int longest = 0;               // characters that can be typed; 0: any number
  std::function<void()> link{};  // the value is a link that does this
  QString tip{};                 // more about the value; empty: nothing
};

struct InspectorSection {
  QString title{};  // empty: none
  std::vector<InspectorRow> rows{};
};

struct InspectorContent {
  // Tells one thing from another: text that is being typed is taken for the thing it was typed for.
  QString key{};
  QString title{};  // empty: nothing is selected
  QString subtitle{};
  std::vector<InspectorSection> sections{};
};

}  // namespace tonalith
