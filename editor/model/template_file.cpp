#include "editor/model/template_file.h"

#include <algorithm>

#include "editor/model/template_cipher.h"

namespace tonalith {

namespace {

constexpr TemplateTag kMagic = MakeTag("ZKTM");
constexpr TemplateTag kOldMagic = MakeTag("FORM");
constexpr TemplateTag kWindowBlock = MakeTag("GLBL");
constexpr TemplateTag kControlBlock = MakeTag("CTLS");
constexpr TemplateTag kTextBlock = MakeTag("TEXT");
constexpr TemplateTag kMacroBlock = MakeTag("MACR");
constexpr std::uint8_t kNewestVersion = 5;
constexpr std::uint8_t kNewestSubversion = 1;
constexpr std::uint8_t kOldFlags = 205;
constexpr std::size_t kTagAndLength = 8;
constexpr std::uint8_t kNoMacro = 255;

constexpr char kTooNew[] =
    "Error! This editor uses an unsupported file format.\nPlease upgrade your software to use this editor.";
constexpr char kDamaged[] = "Internal error! PVT template file appears damaged.";

std::vector<std::uint8_t> Deciphered(std::span<const std::uint8_t> bytes, const WindowRecord& window,
                                     std::size_t selector) {
  std::vector<std::uint8_t> plain(bytes.begin(), bytes.end());
  DecipherTemplate(plain, window.at(selector), window.at(WindowRecord::kCipherTables));
  return plain;
}

std::vector<std::uint8_t> Enciphered(std::vector<std::uint8_t> bytes, const WindowRecord& window,
                                     std::size_t selector) {
  EncipherTemplate(bytes, window.at(selector), window.at(WindowRecord::kCipherTables));
  return bytes;
}

Result CheckWindow(const WindowRecord& window, std::size_t stored) {
  const std::uint8_t version = window.at(WindowRecord::kVersion), sub = window.at(WindowRecord::kSubversion);
  if (version > kNewestVersion || (version == kNewestVersion && sub > kNewestSubversion))
    return Result::Failure(kTooNew);
  const bool checked = version == kNewestVersion && sub == kNewestSubversion;
  const bool sound = stored > WindowRecord::kCheck && window.at(WindowRecord::kCheck) == window.Check();
  return checked && !sound ? Result::Failure(kDamaged) : Result::Success();
}

Result ReadControls(std::span<const std::uint8_t> bytes, const WindowRecord& window,
                    std::vector<ControlRecord>* controls) {
  TemplateReader reader(bytes);
  if (reader.left() < 4) return Result::Failure("the controls are cut off.");
  const std::uint32_t count = reader.U32();
  if (count > reader.left() / kTagAndLength) return Result::Failure("the controls are cut off.");
  for (std::uint32_t i = 0; i < count; ++i) {
    if (reader.left() < kTagAndLength) return Result::Failure("the controls are cut off.");
    const TemplateTag tag = reader.U32();
    const std::uint32_t length = reader.U32();
    if (length > reader.left()) return Result::Failure("control " + std::to_string(i + 1) + " is cut off.");
    controls->push_back(ReadControlRecord(tag, Deciphered(reader.Bytes(length), window, WindowRecord::kCipherControl)));
  }
  return reader.left() ? Result::Failure("there are more controls than the template says.") : Result::Success();
}

}  // namespace

WindowRecord WindowRecord::Standard() {
  WindowRecord window;
  const auto word = [&](std::size_t place, std::uint8_t low) { window.bytes[place + 1] = low; };
  constexpr std::uint8_t kTables = 16;
  constexpr std::uint8_t kStandardCharacter = 8, kStandardGrid = 16;
  constexpr std::uint8_t kStyle = 2;
  window.bytes[kVersion] = kNewestVersion;
  window.bytes[kSubversion] = kNewestSubversion;
  word(kLayoutX, 1);
  word(kLayoutY, 1);
  window.bytes[kOne] = 1;
  window.bytes[kMacro] = kNoMacro;
  word(kCharacterWidth, kStandardCharacter);
  word(kGridHeight, kStandardGrid);
  window.bytes[kWindowStyle] = kStyle;
  window.bytes[kCipherTables] = kTables;
  window.bytes[kCheck] = window.Check();
  return window;
}

std::uint8_t WindowRecord::Check() const {
  constexpr int kByte = 256;
  constexpr int kRotated = 3;
  int sum = 0;
  for (std::size_t i = 0; i < bytes.size(); ++i)
    if (i != kCheck) sum += bytes[i];
  const int rest = (kByte - 1 - sum % kByte) & 0xFF;
  return static_cast<std::uint8_t>(rest >> kRotated | rest << (8 - kRotated));
}

const TemplateBlock* TemplateFile::Find(TemplateTag tag) const {
  const auto found = std::find_if(blocks.begin(), blocks.end(), [&](const TemplateBlock& b) { return b.tag == tag; });
  return found == blocks.end() ? nullptr : &*found;
}

std::string TemplateFile::Text() const {
  const TemplateBlock* block = Find(kTextBlock);
  if (!block) return {};
  const auto plain = Deciphered(block->bytes, window, WindowRecord::kCipherText);
  return {plain.begin(), std::find(plain.begin(), plain.end(), 0)};
}

std::vector<TemplateMacro> TemplateFile::Macros() const {
  std::vector<TemplateMacro> macros;
  const TemplateBlock* block = Find(kMacroBlock);
  if (!block) return macros;
  constexpr std::size_t kSmallest = 6;
  TemplateReader reader(block->bytes);
  for (std::uint32_t count = reader.U32(); count > 0 && reader.left() >= kSmallest; --count) {
    TemplateMacro macro;
    macro.number = static_cast<std::uint16_t>(reader.Number(2));
    const std::uint32_t length = reader.U32();
    if (length > reader.left()) break;
    macro.code = Deciphered(reader.Bytes(length), window, WindowRecord::kCipherMacro);
    if (!macro.code.empty()) macros.push_back(std::move(macro));
  }
  return macros;
}

void TemplateFile::SetMacros(const std::vector<TemplateMacro>& macros) {
  TemplateWriter writer;
  writer.U32(static_cast<std::uint32_t>(macros.size()));
  for (const TemplateMacro& macro : macros) {
    writer.Number(macro.number, 2);
    writer.U32(static_cast<std::uint32_t>(macro.code.size()));
    writer.Bytes(Enciphered(macro.code, window, WindowRecord::kCipherMacro));
  }
  auto block = std::find_if(blocks.begin(), blocks.end(), [](const TemplateBlock& b) { return b.tag == kMacroBlock; });
  if (block == blocks.end()) block = blocks.insert(blocks.end(), TemplateBlock{kMacroBlock, {}});
  block->bytes = writer.Take();
}

Result ReadTemplate(std::span<const std::uint8_t> bytes, TemplateFile* out) {
  TemplateReader reader(bytes);
  const TemplateTag magic = reader.U32();
  if (magic == kOldMagic) return Result::Failure("This editor uses the old record format and can't be opened.");
  if (magic != kMagic) return Result::Failure("File Error: ZKTM not found!");
  TemplateFile panel;
  panel.window.bytes.fill(0);
  std::span<const std::uint8_t> controls;
  bool found = false;
  while (!found && reader.left() >= kTagAndLength) {
    const TemplateTag tag = reader.U32();
    const std::uint32_t length = reader.U32();
    if (length > reader.left()) return Result::Failure("block \"" + TagText(tag) + "\" is cut off.");
    const auto block = reader.Bytes(length);
    if (tag == kControlBlock) {
      controls = block;
      found = true;
      continue;
    }
    panel.blocks.push_back({tag, {block.begin(), block.end()}});
  }
  if (!found) return Result::Failure("the template has no controls.");
  const auto behind = reader.Bytes(reader.left());
  panel.behind.assign(behind.begin(), behind.end());
  if (const TemplateBlock* window = panel.Find(kWindowBlock)) {
    const std::size_t stored = std::min(window->bytes.size(), kWindowRecordSize);
    std::copy_n(window->bytes.begin(), stored, panel.window.bytes.begin());
    if (Result sound = CheckWindow(panel.window, stored); !sound.ok()) return sound;
  }
  if (Result read = ReadControls(controls, panel.window, &panel.controls); !read.ok()) return read;
  *out = std::move(panel);
  return Result::Success();
}

std::vector<std::uint8_t> WriteTemplate(const TemplateFile& panel) {
  TemplateWriter writer;
  writer.U32(kMagic);
  const TemplateBlock* windowBlock = panel.Find(kWindowBlock);
  for (const TemplateBlock& block : panel.blocks) {
    if (&block != windowBlock) {
      writer.Chunk(block.tag, block.bytes);
      continue;
    }
    WindowRecord window = panel.window;
    if (window.at(WindowRecord::kSubversion)) window.bytes[WindowRecord::kCheck] = window.Check();
    std::vector<std::uint8_t> stored = block.bytes;
    if (stored.empty()) stored.resize(kWindowRecordSize);
    std::copy_n(window.bytes.begin(), std::min(stored.size(), kWindowRecordSize), stored.begin());
    writer.Chunk(kWindowBlock, stored);
  }
  TemplateWriter controls;
  controls.U32(static_cast<std::uint32_t>(panel.controls.size()));
  for (const ControlRecord& record : panel.controls)
    controls.Chunk(record.tag, Enciphered(WriteControlRecord(record), panel.window, WindowRecord::kCipherControl));
  writer.Chunk(kControlBlock, controls.Take());
  writer.Bytes(panel.behind);
  return writer.Take();
}

}  // namespace tonalith
