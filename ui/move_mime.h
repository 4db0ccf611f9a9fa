#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

class QMimeData;

namespace tonalith {

// What a drag of a move carries: the number of its offer (MovesOnOffer).  Other processes, another Tonalith among them,
// do not understand it.
std::unique_ptr<QMimeData> MimeOfMove(std::uint64_t number);
// For drags to other programs: the data as a file (a path, UTF-8) that was written for them.
void AddExportedFile(QMimeData& mime, const std::string& path);
// None: the data is no move of this process.  The number may be withdrawn already.
std::optional<std::uint64_t> MoveIn(const QMimeData* mime);

// Files and folders of a drag (UTF-8); empty: there is something else in it.
std::vector<std::string> DraggedPaths(const QMimeData& mime);

}  // namespace tonalith
