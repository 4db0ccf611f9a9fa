#pragma once

#include <QObject>
#include <QString>
#include <cstdint>
#include <functional>
#include <string>

#include "platform/result.h"
#include "store/sets/link_tracker.h"
#include "ui/inspector.h"

namespace tonalith {

class WindowContext;
class ZKGrpDoc;

// Links between patches in the window of a Set: what is said of them, and what is asked.  What needs an
// answer of the module's files is read when it is first asked for.
class SetLinkPart final : public QObject {
  Q_OBJECT

 public:
  struct Host {
    std::function<void(const QString& text)> say;
    // A patch is to be seen.
    std::function<void(int component, std::uint32_t slot)> show;
  };
  SetLinkPart(ZKGrpDoc& set, WindowContext& context, Host host);

  // Links are shown and kept.
  bool IsOn() const;
  // What an editor has made of a component goes into the Set, with what plays its patches; the user is asked where a
  // patch is lost that others play.
  Result Put(int component, DataFilePtr data, const std::string& name);
  // "uses: ...", "is used by: ..."; empty: neither, or links are off.
  QString Note(int component, int patch) const;
  // Appends the links of a patch.
  void Describe(int component, int patch, InspectorContent* content) const;

 private:
  // False: the user wants none of it.
  bool AskAboutLost(int component, DataFile* data);

  ZKGrpDoc& set_;
  WindowContext& context_;
  Host host_;
  LinkTracker tracker_;
};

}  // namespace tonalith
