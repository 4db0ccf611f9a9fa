#include "editor/model/control_record.h"

#include <algorithm>

namespace tonalith {

namespace {

constexpr TemplateTag kHead = MakeTag("CTRL");
constexpr TemplateTag kBinding = MakeTag("CMMN");
constexpr std::size_t kHeadNumbers = 18;  // bytes before the name
constexpr std::size_t kTagAndLength = 8;

bool ReadHead(TemplateReader* reader, ControlHead* head) {
  if (reader->left() < kTagAndLength || reader->U32() != kHead) return false;
  const std::uint32_t length = reader->U32();
  if (length > reader->left() || length < kHeadNumbers) return false;
  TemplateReader chunk(reader->Bytes(length));
  const auto number = [&](std::size_t size) { return static_cast<std::uint16_t>(chunk.Number(size)); };
  const auto place = [&] { return static_cast<std::int16_t>(chunk.Number(2)); };
  head->id = number(2);
  head->oldId = number(2);
  head->kind = number(2);
  head->left = place();
  head->top = place();
  head->width = place();
  head->height = place();
  head->style = static_cast<std::uint8_t>(number(1));
  head->hidden = static_cast<std::uint8_t>(number(1));
  head->layer = number(2);
  if (!chunk.Text(&head->name) || !chunk.Text(&head->help)) return false;
  const auto trailer = chunk.Bytes(chunk.left());
  head->trailer.assign(trailer.begin(), trailer.end());
  return head->trailer.size() <= ControlHead::kTrailer;
}

void WriteHead(const ControlHead& head, TemplateWriter* writer) {
  TemplateWriter chunk;
  for (const std::uint16_t number : {head.id, head.oldId, head.kind}) chunk.Number(number, 2);
  for (const std::int16_t number : {head.left, head.top, head.width, head.height})
    chunk.Number(static_cast<std::uint16_t>(number), 2);
  chunk.Number(head.style, 1);
  chunk.Number(head.hidden, 1);
  chunk.Number(head.layer, 2);
  chunk.Text(head.name);
  chunk.Text(head.help);
  chunk.Bytes(head.trailer);
  writer->Chunk(kHead, chunk.Take());
}

bool ReadParts(std::span<const std::uint8_t> data, ControlRecord* record) {
  TemplateReader reader(data);
  if (!ReadHead(&reader, &record->head)) return false;
  while (reader.left() >= kTagAndLength) {
    TemplateReader ahead = reader;
    if (ahead.U32() != kBinding) break;
    const std::uint32_t length = ahead.U32();
    if (length > ahead.left()) return false;
    TemplateReader chunk(ahead.Bytes(length));
    record->bindings.emplace_back(BindingFields()).Read(&chunk);
    reader = ahead;
  }
  const ControlKind* kind = FindControlKind(record->tag);
  record->own = TemplateValues(kind ? kind->fields : std::span<const TemplateField>());
  record->own.Read(&reader);
  return true;
}

}  // namespace

ControlRecord ControlRecord::Make(TemplateTag tag, std::size_t bindings) {
  ControlRecord record;
  record.tag = tag;
  const ControlKind* kind = FindControlKind(tag);
  if (kind) record.head.kind = static_cast<std::uint16_t>(kind->number);
  record.own = TemplateValues(kind ? kind->fields : std::span<const TemplateField>());
  if (kind && !kind->fields.empty()) {
    const TemplateField& last = kind->fields.back();
    record.own.Set(last.name, last.standard);
  }
  for (std::size_t i = 0; i < bindings; ++i) {
    auto& binding = record.bindings.emplace_back(BindingFields());
    binding.Set(BindingFields().back().name, BindingFields().back().standard);
  }
  return record;
}

ControlRecord ReadControlRecord(TemplateTag tag, std::span<const std::uint8_t> data) {
  ControlRecord record;
  record.tag = tag;
  if (ReadParts(data, &record)) {
    const std::vector<std::uint8_t> again = WriteControlRecord(record);
    if (std::equal(again.begin(), again.end(), data.begin(), data.end())) return record;
  }
  ControlRecord opaque;
  opaque.tag = tag;
  opaque.opaque.emplace(data.begin(), data.end());
  return opaque;
}

std::vector<std::uint8_t> WriteControlRecord(const ControlRecord& record) {
  if (record.opaque) return *record.opaque;
  TemplateWriter writer;
  WriteHead(record.head, &writer);
  for (const TemplateValues& binding : record.bindings) {
    TemplateWriter chunk;
    binding.Write(&chunk);
    writer.Chunk(kBinding, chunk.Take());
  }
  record.own.Write(&writer);
  return writer.Take();
}

}  // namespace tonalith
