#include "cli/bank_files.h"

#include <filesystem>
#include <span>
#include <utility>
#include <vector>

#include "bank/bank_document.h"
#include "cli/input_files.h"
#include "cli/session.h"
#include "data/container.h"
#include "platform/atomic_file.h"
#include "platform/text.h"
#include "studio/free_bank.h"

namespace tonalith {

namespace {

bool IsMidiOut(const std::string& path) {
  return AsciiEndsWithNoCase(path, ".mid");
}

Result MessagesInto(Session& session, ZKBankDoc* document, const std::string& path) {
  std::vector<RenderedMessage> messages;
  bool isDeclared = false;
  const bool midi = IsMidiOut(path);
  if (Result result = RenderFile(session, document->dataFile(), midi, &messages, &isDeclared); !result.ok())
    return result;
  if (!isDeclared) session.environment().err << "Note: " << NotDeclaredSentence(*document->dataFile()) << "\n";
  const std::vector<std::uint8_t> bytes =
      midi ? MidiFileOf(messages, Latin1ToUtf8(document->Description())) : RawSysExFile(messages);
  return WriteFileAtomically(path, std::span<const std::uint8_t>(bytes));
}

}  // namespace

Result OpenBankFile(Session& session, const std::string& path, std::unique_ptr<ZKBankDoc>* document) {
  FileBytes bytes;
  if (Result read = ReadCliFile(session.environment(), path, &bytes); !read.ok()) return read;
  if (LooksLikeDataFile(bytes)) {
    auto opened = std::make_unique<ZKBankDoc>(nullptr);
    if (Result result = opened->Load(path, std::move(bytes), {}); !result.ok()) return result;
    if (!opened->LoadNotice().empty()) session.environment().err << "Note: " << opened->LoadNotice() << "\n";
    *document = std::move(opened);
    (*document)->SetGrowth(GrowthOf(session.recognizer(), *(*document)->dataFile()));
    return Result::Success();
  }
  NoteShortFile(path, bytes, session.environment().err);
  Recognition found;
  if (Result result = session.recognizer().Recognize(bytes, &found); !result.ok())
    return Result::Failure(path + ": " + result.text);
  if (found.pieces.size() != 1)
    return Result::Failure(path + " holds several pieces of data; \"import\" with --piece makes a data file of one.");
  *document = std::make_unique<ZKBankDoc>(std::move(found.pieces.front().data));
  (*document)->SetGrowth(GrowthOf(session.recognizer(), *(*document)->dataFile()));
  return Result::Success();
}

Result CheckBankOut(const std::string& from, const std::string& to) {
  std::error_code none;
  if (std::filesystem::equivalent(from, to, none) || from == to)
    return Result::Failure(to + " is the file that is read; write another one.");
  return Result::Success();
}

Result WriteBankFile(Session& session, ZKBankDoc* document, const std::string& path, bool changed) {
  if (IsMidiOut(path) || AsciiEndsWithNoCase(path, ".syx")) return MessagesInto(session, document, path);
  // Checksums protect what was changed; they are renewed as for sending.
  std::vector<RenderedMessage> unused;
  if (changed) RenderData(session, document->dataFile(), &unused);
  return document->SaveCopy(path);
}

}  // namespace tonalith
