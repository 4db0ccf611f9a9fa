#pragma once

#include <QString>
#include <string>
#include <string_view>

namespace tonalith {

// The only places where instrument bytes and file paths become text of the windows, and back.
inline QString FromLatin1(std::string_view bytes) {
  return QString::fromLatin1(bytes.data(), static_cast<qsizetype>(bytes.size()));
}
inline std::string ToLatin1(const QString& text) {
  return text.toLatin1().toStdString();
}
inline QString FromUtf8(std::string_view bytes) {
  return QString::fromUtf8(bytes.data(), static_cast<qsizetype>(bytes.size()));
}
inline std::string ToUtf8(const QString& text) {
  return text.toUtf8().toStdString();
}

}  // namespace tonalith
