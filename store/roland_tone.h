#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "data/data_records.h"
#include "platform/result.h"

namespace tonalith {

// Tones of the Roland instruments that keep them as blocks of messages.
//
// In a bank a tone is a run of blocks of 143 bytes: a head of 13, 128 bytes of data, checksum and end of exclusive. The
// data are 64 words, each as its high and then its low half.  In an editor a value is one byte, two halves or four
// quarters, behind a head of 12 bytes: F0 41 10, four bytes of model, 12, an address whose third byte is the type byte.
//
// Which word is which value is a map, a file for each kind of tone.  Without the map of a kind its tones are not
// converted.

enum class ToneKind : std::uint8_t { PCMTone, SynthMd, JpitrX, RDPiano, NZyme, JunoX };

// How a value goes from the tone into the editor: word to byte, word to a byte of seven bits, word to two halves, two
// words to four quarters.
enum class TonePrimitive : std::uint8_t { WtoB, WtoSB, WtoW, LtoL };

// The values of a kind of tone in the order in which they stand in the editor.
//
// In the module's folder it is "ToneMap.<name of the kind>.tsv": tab separated lines, the first of them "Tonalith tone
// map" and the version 1, then `editor` N (where the values begin, 12 when it is not said) and for each value `value`
// PRIMITIVE WORD OFFSET; `skip` N leaves N bytes of the editor as they are.
struct ToneMap {
  struct Value {
    TonePrimitive primitive = TonePrimitive::WtoB;
    std::int32_t word = 0;
    std::int32_t offset = 0;
    std::size_t editor = 0;  // where it begins
  };
  std::vector<Value> values;
  // Bytes that the values reach on the two sides.
  std::size_t ToneSize() const;
  std::size_t EditorSize() const;
};
Result ReadToneMap(std::string_view text, ToneMap* map);
std::string ToneMapName(ToneKind kind);

// Where maps come from.
class ToneMaps {
 public:
  virtual ~ToneMaps() = default;
  // False: there is none, or it cannot be read.
  virtual bool Find(ToneKind kind, ToneMap* map) const = 0;
};
// The files of a module's folder; what is wrong with one is logged.
class FolderToneMaps : public ToneMaps {
 public:
  explicit FolderToneMaps(std::filesystem::path folder) : folder_(std::move(folder)) {}
  bool Find(ToneKind kind, ToneMap* map) const override;

 private:
  std::filesystem::path folder_;
};

// Has no state; works on byte buffers.  Results are 1 (converted) or 0: the kind is not known, there is no map of it,
// or a buffer is too small for what the map reaches; nothing is changed then.
class BankConvertJunoX {
 public:
  static constexpr std::size_t kTypeByte = 10;

  // Byte of the tone where word w begins.
  static std::int64_t ConvertFormattedToRawOfs(std::int64_t word);

  // The kind decides about head, type byte and the compatibility name of `editorType` (its type key).
  static int ConvertToneToEditorFormat(std::span<const std::uint8_t> tone, std::span<std::uint8_t> editor,
                                       Synth* editorType, const ToneMaps& maps);
  // The heads of the tone's blocks stay; the blocks that are written get their checksums and ends anew.
  static int ConvertJunoXEditorToToneFormat(std::span<const std::uint8_t> editor, std::span<std::uint8_t> tone,
                                            const Synth* toneType, const ToneMaps& maps);

  // One kind alone: the values without the head, and back with record and checksums.
  static int ConvertValuesToEditor(ToneKind kind, std::span<const std::uint8_t> tone, std::span<std::uint8_t> editor,
                                   const ToneMaps& maps);
  static int ConvertValuesToTone(ToneKind kind, std::span<const std::uint8_t> editor, std::span<std::uint8_t> tone,
                                 const ToneMaps& maps);

  // The values one by one; `word` and `editorPos` go on behind what was moved.  The buffers have to be large enough.
  static void TtoE_WtoB(std::span<const std::uint8_t> tone, std::span<std::uint8_t> editor, std::int64_t& word,
                        std::size_t& editorPos, int d);
  static void TtoE_WtoSB(std::span<const std::uint8_t> tone, std::span<std::uint8_t> editor, std::int64_t& word,
                         std::size_t& editorPos, int d);
  static void TtoE_WtoW(std::span<const std::uint8_t> tone, std::span<std::uint8_t> editor, std::int64_t& word,
                        std::size_t& editorPos, int d);
  static void TtoE_LtoL(std::span<const std::uint8_t> tone, std::span<std::uint8_t> editor, std::int64_t& word,
                        std::size_t& editorPos, int d);
  static void EtoT_BtoW(std::span<const std::uint8_t> editor, std::span<std::uint8_t> tone, std::size_t& editorPos,
                        std::int64_t& word, int d);
  static void EtoT_SBtoW(std::span<const std::uint8_t> editor, std::span<std::uint8_t> tone, std::size_t& editorPos,
                         std::int64_t& word, int d);
  static void EtoT_WtoW(std::span<const std::uint8_t> editor, std::span<std::uint8_t> tone, std::size_t& editorPos,
                        std::int64_t& word, int d);
  static void EtoT_LtoL(std::span<const std::uint8_t> editor, std::span<std::uint8_t> tone, std::size_t& editorPos,
                        std::int64_t& word, int d);
};

}  // namespace tonalith
