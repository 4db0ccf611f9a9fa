#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <span>
#include <vector>

#include "platform/prompts.h"
#include "studio/gather_patches.h"
#include "studio/module.h"
#include "studio/package_install.h"
#include "studio/recognize.h"
#include "studio/studio_document.h"

namespace {

using namespace tonalith;

// One small data type of every kind of rule.
const ModuleSource& FuzzSource() {
  static const ModuleSource source = {
      {"module.ini",
       "[Module]\nName=Fuzz\nDriverBase=1\nTypes=single pair bank area framed open coded one many bare "
       "asked\nmanufacturerId=0x41\n"
       "hasSysExChannel=1\nsysExChannelOffset=2\n[Coded Messages]\nHead=F0 00 20 2B 00 6F\nCoding=base64-crc32\n"
       "Piece=16 00 | index 2 | count 3 | data 4\n"},
      {"single.descriptor",
       "typeName=Single\nfileSize=12\nheaderSize=4\nnameLength=4\nmessage=F0 41 0? 01\npatchByte=3\nnumberAs=bank\n"
       "checksumStart=4\nchecksumLength=6\nchecksumOffset=10\n"},
      {"pair.descriptor",
       "typeName=Pair\nfileSize=16\nmessage=F0 41 0? 02 | length 8\nmessage=F0 41 0? 03 | length 8\n"},
      {"bank.descriptor",
       "typeName=Bank\nfileSize=80\nnumVoices=10\nvoiceSize=8\nmessage=F0 41 0? 04 | length 9 | skip 1\nslots=4 0 10\n"
       "context=F0 41 09 | 07 | default\nverify=0 1 5 6 | times 10 | step 8\n"},
      {"area.descriptor",
       "typeName=Area\nfileSize=32\nnumVoices=4\nvoiceSize=8\naddress=F0 41 ?? 14 12 | 3\narea=02 00 00 | step 00 00 "
       "08 | slots 4\n"
       "block=00 00 00 | size 8\n"},
      {"framed.descriptor",
       "typeName=Framed\nfileSize=40\naddress=F0 41 ?? 14 12 | 3\narea=01 00 00\nblock=00 00 00 | size 4 | framed\n"
       "block=00 01 00 | size 16 | at 14 | framed\n"},
      {"open.descriptor", "typeName=Open\nfileSize=64\noptionBits=1\nmessage=F0 41 0? 05 | length any\n"},
      {"coded.descriptor",
       "typeName=Coded\nfileSize=8\nmessage=F0 00 20 2B 00 6F | length 15 | skip 6 | take 8\npatchByte=7 6 1\n"
       "numberAs=bank\nverify=4 0 7 7 | or 7F\n"},
      {"one.descriptor", "typeName=One\nfileSize=12\nheaderSize=4\nvoiceSize=6\nnameLength=4\nmessage=F0 41 0? 06\n"},
      {"many.descriptor",
       "typeName=Many\nfileSize=32\nnumVoices=3\nvoiceSize=10\nvoiceBytes=6\nvoiceOffset=4\nnameLength=4\n"
       "patchType=one\nmessage=F0 41 0? ??\nslots=3 7 3\nverify=0 5 3 8 | times 3 | step 10\n"},
      {"bare.descriptor", "typeName=Bare\nfileSize=9\nheaderSize=4\ninit=0: F0 41 00 08 00 00 00 00 F7\n"},
      {"asked.descriptor", "typeName=Asked\nfileSize=11\ndumpRequest=F0 41 00 09 0A F7\n"},
  };
  return source;
}

struct FuzzStudio {
  std::filesystem::path folder =
      std::filesystem::temp_directory_path() / ("tonalith-fuzz-" + std::to_string(::getpid()));
  ScriptedPrompts prompts{{}};
  std::unique_ptr<ZKStudioDoc> studio;
  std::unique_ptr<Recognizer> recognizer;

  FuzzStudio() {
    ModuleImage image;
    InstallReport report;
    if (!BuildModule(FuzzSource(), &image).ok() || !InstallPackageFiles(image.files, folder, &report).ok())
      __builtin_trap();
    studio = std::make_unique<ZKStudioDoc>(StudioPaths{folder, folder, folder, {}}, prompts);
    if (studio->LoadStudio() != 1) __builtin_trap();
    recognizer = std::make_unique<Recognizer>(*studio);
    std::error_code error;
    std::filesystem::remove_all(folder, error);
  }
};

// The pieces as windows open them: each in one group, and all patches of a group in its bank.
void OpenPieces(const Recognizer& recognizer, std::span<const std::uint8_t> file) {
  FoundFile found;
  recognizer.Find(file, &found);
  std::vector<bool> seen(found.pieces.size());
  for (const PieceGroup& group : GroupPieces(found)) {
    for (const std::uint32_t piece : group.pieces) {
      if (seen[piece]) __builtin_trap();
      seen[piece] = true;
    }
    const DataFilePtr data = MakeGroup(recognizer, found, group);
    if (!data || (group.bank && recognizer.Patches(*data).size() != group.pieces.size())) __builtin_trap();
  }
  if (std::find(seen.begin(), seen.end(), false) != seen.end()) __builtin_trap();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static FuzzStudio fuzz;
  Recognition found;
  fuzz.recognizer->Recognize({data, size}, &found);
  for (const RecognizedPiece& piece : found.pieces) {
    if (piece.offset > size) __builtin_trap();
    fuzz.recognizer->Patches(*piece.data);
    fuzz.recognizer->Verify(*piece.data);
  }
  OpenPieces(*fuzz.recognizer, {data, size});
  // The same bytes as a studio file.
  std::string error;
  ZKStudioDoc other(fuzz.studio->paths(), fuzz.prompts);
  other.ReadStudio({data, data + size}, &error);
  return 0;
}
