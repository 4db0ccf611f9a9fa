#include "tools/ui/message_drag.h"

#include <QDir>
#include <QDrag>
#include <QMimeData>
#include <QTemporaryDir>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "document/move.h"
#include "platform/atomic_file.h"
#include "ui/document_window.h"
#include "ui/move_mime.h"
#include "ui/qt_text.h"

namespace tonalith {

MessageDrag::MessageDrag(DocumentWindow& window, MovesOnOffer& moves, Bytes bytes)
    : window_(window), moves_(moves), bytes_(std::move(bytes)) {}

MessageDrag::~MessageDrag() = default;

std::string MessageDrag::Export() {
  const std::vector<std::uint8_t> bytes = bytes_();
  if (bytes.empty() || bytes.size() > kMostExported) return {};
  if (!folder_) folder_ = std::make_unique<QTemporaryDir>(QDir::tempPath() + QStringLiteral("/tonalith-XXXXXX"));
  if (!folder_->isValid()) return {};
  const std::string number = exported_++ > 0 ? " " + std::to_string(exported_) : std::string();
  const std::string path = ToUtf8(folder_->path()) + "/Messages" + number + ".syx";
  return WriteFileAtomically(path, bytes).ok() ? path : std::string();
}

std::unique_ptr<QMimeData> MessageDrag::Begin() {
  Finish();
  std::unique_ptr<QMimeData> mime;
  if (MoveOffer offer = window_.OfferOut(); !offer.types.empty()) {
    offered_ = std::make_unique<OfferedMove>(moves_, std::move(offer), [this]() -> std::optional<Move> {
      Move move;
      return window_.MoveOut(&move).ok() ? std::optional<Move>(std::move(move)) : std::nullopt;
    });
    mime = MimeOfMove(offered_->number());
  }
  if (const std::string path = Export(); !path.empty()) {
    if (!mime) mime = std::make_unique<QMimeData>();
    AddExportedFile(*mime, path);
  }
  return mime;
}

void MessageDrag::Finish() {
  offered_.reset();
}

void MessageDrag::Start(QWidget* view) {
  std::unique_ptr<QMimeData> mime = Begin();
  if (!mime) return;
  auto* drag = new QDrag(view);
  drag->setMimeData(mime.release());
  drag->exec(Qt::CopyAction, Qt::CopyAction);
  Finish();
}

}  // namespace tonalith
