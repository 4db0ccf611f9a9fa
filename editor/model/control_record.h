#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "editor/model/control_schema.h"
#include "editor/model/template_bytes.h"

namespace tonalith {

// The "CTRL" chunk: what every control has.
struct ControlHead {
  // The trailer: as many of its bytes as a record has.
  enum Trailer { kFrameStyle, kLock, kNotInWindowSize, kHtmlHelp, kInitTransparency, kNoKeyboardFocus, kTrailer };

  std::uint16_t id = 0, oldId = 0, kind = 0;
  std::int16_t left = 0, top = 0, width = 0, height = 0;
  std::uint8_t style = 0;  // 0 edit, 1 background, 2 foreground, 3 foreground edit
  std::uint8_t hidden = 0;
  std::uint16_t layer = 0;
  std::string name, help;  // Windows-1252, at most 255 characters
  std::vector<std::uint8_t> trailer = std::vector<std::uint8_t>(kTrailer);
};

// A control of a template: its place, its bindings and the fields of its kind.  Records of kinds that are not known,
// and records that do not read, are kept as they are.
struct ControlRecord {
  TemplateTag tag = 0;
  ControlHead head;
  std::vector<TemplateValues> bindings;
  TemplateValues own{{}};
  // The data of a record that was not taken apart; then nothing else is valid.
  std::optional<std::vector<std::uint8_t>> opaque{};

  // A new record of a kind (tag, kind number, fields); `bindings` of them with all fields.
  static ControlRecord Make(TemplateTag tag, std::size_t bindings);
};

// `data` is what stands behind tag and length.  What is read is written again byte for byte.
ControlRecord ReadControlRecord(TemplateTag tag, std::span<const std::uint8_t> data);
std::vector<std::uint8_t> WriteControlRecord(const ControlRecord& record);

}  // namespace tonalith
