#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "editor/model/template_bytes.h"

namespace tonalith {

// The fields of the records of templates.  One table a record drives reading, writing and defaults.

enum class TemplateFieldType : std::uint8_t {
  kU8,
  kI8,
  kU16,
  kI16,
  kU32,
  kI32,
  kText,      // one length byte and its characters
  kBuffer,    // a 32-bit length and its bytes
  kNumbers8,  // as many bytes as another field says
  kNumbers32,
};

struct TemplateField {
  const char* name;
  TemplateFieldType type;
  std::int64_t standard = 0;
  // Stored only when the number of this earlier field, taken as the number of a bit, is one of these.
  const char* onlyWith = nullptr;
  std::uint32_t values = 0;
  // Of kNumbers8 and kNumbers32: the field that says how many, and how often.
  const char* count = nullptr;
  int times = 1;
};

// One value: a number, a text (also of a buffer) or several numbers, as the field has it.
struct TemplateValue {
  std::int64_t number = 0;
  std::string text;
  std::vector<std::int64_t> numbers;
  bool operator==(const TemplateValue&) const = default;
};

// The values of a record, in the order of its table.  A record that ends early has fewer; the others are standard.
class TemplateValues {
 public:
  explicit TemplateValues(std::span<const TemplateField> fields) : fields_(fields) {}

  std::span<const TemplateField> fields() const { return fields_; }
  // Nothing happens for a field that the record has not.
  void Set(std::string_view field, std::int64_t number);
  void Set(std::string_view field, std::string text);
  void Set(std::string_view field, std::vector<std::int64_t> numbers);
  std::int64_t Number(std::string_view field) const;
  const std::string& Text(std::string_view field) const;
  const std::vector<std::int64_t>& Numbers(std::string_view field) const;

  // Takes what there is; what stands behind the last field is kept and written again.
  void Read(TemplateReader* reader);
  // As many fields as were read or set.
  void Write(TemplateWriter* writer) const;

  bool operator==(const TemplateValues& other) const {
    return stored_ == other.stored_ && values_ == other.values_ && surplus_ == other.surplus_;
  }

 private:
  std::size_t IndexOf(std::string_view field) const;
  TemplateValue& Have(std::size_t index);
  bool Stored(std::size_t index) const;
  bool ReadField(const TemplateField& field, TemplateReader* reader, TemplateValue* value) const;
  void WriteField(const TemplateField& field, const TemplateValue& value, TemplateWriter* writer) const;

  std::span<const TemplateField> fields_;
  std::vector<TemplateValue> values_;  // of the first fields
  std::size_t stored_ = 0;             // how many of them
  std::vector<std::uint8_t> surplus_;
};

// A kind of control.
struct ControlKind {
  TemplateTag tag;
  const char* name;
  int number;
  std::span<const TemplateField> fields;  // of its own; empty: they are kept as they are
};
// Null for a kind that is not known.
const ControlKind* FindControlKind(TemplateTag tag);
std::span<const ControlKind> ControlKinds();

// The fields of a "CMMN" chunk: the binding of a control.
std::span<const TemplateField> BindingFields();

}  // namespace tonalith
