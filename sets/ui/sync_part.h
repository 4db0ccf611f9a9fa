#pragma once

#include <QObject>
#include <QString>
#include <QTimer>
#include <cstdint>
#include <functional>
#include <map>
#include <vector>

#include "ui/quiet_send.h"

namespace tonalith {

class WindowContext;
class ZKGrpDoc;

// Sends what is changed in a Set to its instruments at once, while the user wants that: of banks that go patch by patch
// only the patches that changed, else the component.  What was changed before is left to Send.
class SetSyncPart final : public QObject {
  Q_OBJECT

 public:
  // `say`: a sentence for the user.
  SetSyncPart(ZKGrpDoc& set, WindowContext& context, std::function<void(const QString& text)> say);

  bool IsOn() const { return on_; }
  void Toggle();
  // The Set changed.
  void DocumentChanged();

 private:
  // Notes what changed since this was called last; false: nothing.
  bool Compare();
  void SendNext();
  // `patches` were meant, as they were at `sounds`.
  void Ended(int component, const std::vector<std::uint8_t>& patches, const std::vector<std::uint64_t>& sounds,
             const QuietSend::End& end);
  // Of the patches that wait those that the instrument does not hold, one value each; empty: none.
  std::vector<std::uint8_t> Waiting(int component) const;

  ZKGrpDoc& set_;
  std::function<void(const QString& text)> say_;
  bool on_ = false;
  QTimer wait_;                                       // from a change to the transfer
  std::vector<std::vector<std::uint64_t>> seen_;      // what the patches of each component were
  std::map<int, std::vector<std::uint8_t>> waiting_;  // by component, one value a patch
  QuietSend send_;
};

}  // namespace tonalith
