#include "ui/move_mime.h"

#include <QMimeData>
#include <QUrl>
#include <QUuid>

#include "ui/qt_text.h"

namespace tonalith {

namespace {

// Another one for each process, so that a number never means another program's offer.
const QString& FormatOfMoves() {
  static const QString format =
      QStringLiteral("application/x-tonalith-move-") + QUuid::createUuid().toString(QUuid::Id128);
  return format;
}

}  // namespace

std::unique_ptr<QMimeData> MimeOfMove(std::uint64_t number) {
  auto mime = std::make_unique<QMimeData>();
  mime->setData(FormatOfMoves(), QByteArray::number(static_cast<qulonglong>(number)));
  return mime;
}

void AddExportedFile(QMimeData& mime, const std::string& path) {
  mime.setUrls({QUrl::fromLocalFile(FromUtf8(path))});
}

std::optional<std::uint64_t> MoveIn(const QMimeData* mime) {
  if (!mime || !mime->hasFormat(FormatOfMoves())) return std::nullopt;
  bool fine = false;
  const qulonglong number = mime->data(FormatOfMoves()).toULongLong(&fine);
  return fine && number != 0 ? std::optional<std::uint64_t>(number) : std::nullopt;
}

std::vector<std::string> DraggedPaths(const QMimeData& mime) {
  std::vector<std::string> paths;
  for (const QUrl& url : mime.urls()) {
    if (!url.isLocalFile()) return {};
    paths.push_back(ToUtf8(url.toLocalFile()));
  }
  return paths;
}

}  // namespace tonalith
