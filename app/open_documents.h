#pragma once

#include <QObject>
#include <map>
#include <vector>

#include "app/frame_context.h"
#include "services/transfer_desk.h"
#include "studio/ui/studio_host.h"

class QTimer;

namespace tonalith {

// The open windows on data of the studio's instruments, with what is on its way for them: the rows of the studio tree.
class OpenStudioDocuments final : public QObject {
  Q_OBJECT

 public:
  explicit OpenStudioDocuments(const FrameContext& frame);

  std::vector<OpenDocument> List() const;
  // Every event of the transfer desk.
  void Take(const DeskEvent& event);

 signals:
  // A window came, went or changed its state, or a transfer went on; a few times a second at most.
  void Changed();

 private:
  FrameContext frame_;
  QTimer* soon_;
  std::map<const DataFile*, int> percent_;  // of what is under way
};

}  // namespace tonalith
