#pragma once

#include <QTableView>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

class QMimeData;
class QTemporaryDir;

namespace tonalith {

class DocumentWindow;
class MovesOnOffer;
class OfferedMove;

// The selected messages of a window with raw SysEx, dragged: to windows that take data when an instrument knows them,
// and as a file to other programs.
class MessageDrag final {
 public:
  // Larger selections are not written as a file.
  static constexpr std::size_t kMostExported = std::size_t{16} << 20;

  // The selected messages as bytes.
  using Bytes = std::function<std::vector<std::uint8_t>()>;

  // What the window offers and gives goes to windows; `bytes` to other programs.
  MessageDrag(DocumentWindow& window, MovesOnOffer& moves, Bytes bytes);
  ~MessageDrag();
  MessageDrag(const MessageDrag&) = delete;
  MessageDrag& operator=(const MessageDrag&) = delete;

  // What the toolkit drags; null: there is nothing to drag.  Stands until Finish.
  std::unique_ptr<QMimeData> Begin();
  void Finish();
  // Returns when the drag is over.
  void Start(QWidget* view);

 private:
  // A file of its own for each drag; the folder goes with the window, for programs read it after the drop.
  std::string Export();

  DocumentWindow& window_;
  MovesOnOffer& moves_;
  Bytes bytes_;
  std::unique_ptr<OfferedMove> offered_;
  std::unique_ptr<QTemporaryDir> folder_;
  int exported_ = 0;
};

// The list they are dragged from.
class MessageTable final : public QTableView {
 public:
  MessageTable(MessageDrag& drag, QWidget* parent) : QTableView(parent), drag_(drag) { setDragEnabled(true); }

 protected:
  void startDrag(Qt::DropActions) override { drag_.Start(this); }

 private:
  MessageDrag& drag_;
};

}  // namespace tonalith
