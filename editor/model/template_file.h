#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <span>
#include <string>
#include <vector>

#include "editor/model/control_record.h"
#include "editor/model/template_bytes.h"
#include "platform/result.h"

namespace tonalith {

// A panel as its file has it (".pvt"): blocks with four-character names, the controls last.  Pure data; nothing here
// opens a window or runs a macro.

// The window record of the "GLBL" block.
inline constexpr std::size_t kWindowRecordSize = 255;
class WindowRecord {
 public:
  // Where the fields of a record stand that are used here.
  enum Place : std::size_t {
    kVersion = 0,
    kSubversion = 1,
    kLayoutX = 4,
    kLayoutY = 6,
    kOne = 9,
    kMacro = 10,
    kCharacterWidth = 110,
    kGridHeight = 112,
    kWindowStyle = 115,
    kRandom = 116,
    kCipherTables = 127,
    kCipherText = 128,
    kCipherMacro = 129,
    kCipherControl = 130,
    kFlags = 139,
    kCheck = 155,
  };

  // What a new template has.
  static WindowRecord Standard();

  std::array<std::uint8_t, kWindowRecordSize> bytes{};
  std::uint8_t at(std::size_t place) const { return bytes[place]; }
  // The check byte that belongs to the other bytes.
  std::uint8_t Check() const;
};

struct TemplateMacro {
  std::uint16_t number = 0;
  std::vector<std::uint8_t> code;  // not enciphered
};

// A block in the order of the file.
struct TemplateBlock {
  TemplateTag tag = 0;
  std::vector<std::uint8_t> bytes;  // as stored
};

struct TemplateFile {
  WindowRecord window = WindowRecord::Standard();
  std::vector<TemplateBlock> blocks;    // all but "CTLS"; in place of the first "GLBL" the window record is written
  std::vector<ControlRecord> controls;  // not enciphered
  std::vector<std::uint8_t> behind;     // what follows the controls; ignored and kept

  // The block of a name, null when there is none.
  const TemplateBlock* Find(TemplateTag tag) const;
  // The text of the "TEXT" block, Windows-1252.
  std::string Text() const;
  std::vector<TemplateMacro> Macros() const;
  void SetMacros(const std::vector<TemplateMacro>& macros);
};

// Refuses what is no template, one of a newer version, a damaged one and one that is cut short.
Result ReadTemplate(std::span<const std::uint8_t> bytes, TemplateFile* out);
// Byte for byte what was read, as long as nothing was changed; the check byte is made anew.
std::vector<std::uint8_t> WriteTemplate(const TemplateFile& panel);

// --- compiled lists (".ini.bin")
// ------------------------------------------------------------------------------------------

// The numbered texts and tables that belong to a template.
struct TemplateLists {
  std::map<std::uint32_t, std::vector<std::string>> texts;  // at most 255 characters each, Windows-1252
  struct Table {
    std::uint32_t word = 0;  // kept with it
    std::vector<std::uint32_t> entries;
  };
  std::map<std::uint32_t, Table> tables;
};
// What is no such file gives no lists; reading ends where a record does not read.
TemplateLists ReadTemplateLists(std::span<const std::uint8_t> bytes);
std::vector<std::uint8_t> WriteTemplateLists(const TemplateLists& lists);

}  // namespace tonalith
