#include "cli/commands_view.h"

#include <cstdio>
#include <memory>
#include <utility>

#include "bank/bank_document.h"
#include "cli/arguments.h"
#include "cli/bank_files.h"
#include "cli/input_files.h"
#include "cli/session.h"
#include "platform/path_resolver.h"
#include "tools/data_listing.h"
#include "tools/message_lines.h"
#include "tools/sysex_words.h"

namespace tonalith {

namespace {

constexpr std::size_t kWrittenAtOnce = std::size_t{1} << 16;

int ViewFailed(CliEnvironment& environment, const std::string& sentence) {
  return CliFailure(environment.err, "view", sentence);
}

Result ReadViewed(CliEnvironment& environment, const std::string& path, ViewedFile* file) {
  std::vector<std::uint8_t> bytes;
  if (Result read = ReadInput(path, environment.in, &bytes); !read.ok()) return read;
  if (bytes.empty()) return Result::Failure("The file " + path + " is empty.");
  NoteShortFile(path, bytes, environment.err);
  *file = ViewedFileOf(std::move(bytes));
  return Result::Success();
}

void PrintListing(CliEnvironment& environment, const DataFile* data, const std::string& path,
                  const DataListing& listing) {
  for (const std::string& line : ListingHead(data, FileNameOf(path))) environment.out << line << "\n";
  environment.out << "\n";
  std::string text;
  for (std::size_t line = 0; line < listing.Lines(); ++line) {
    text += ListingText(listing.LineAt(line, listing.Size())) + "\n";
    if (text.size() < kWrittenAtOnce) continue;
    environment.out.Lines(text);
    text.clear();
  }
  environment.out.Lines(text);
}

int PrintFound(CliEnvironment& environment, const DataListing& listing, const std::string& typed) {
  const std::optional<SearchBytes> wanted = ReadSearch(typed);
  if (!wanted || wanted->bytes.empty()) return ViewFailed(environment, "There is nothing to search for.");
  std::size_t from = 0;
  bool any = false;
  for (;;) {
    const auto found = ListingSearch(listing, *wanted, from).Run();
    if (!found) break;
    any = true;
    char place[48];
    const int length = std::snprintf(place, sizeof place, "%zu (0x%.4zx)\t", *found, *found);
    environment.out.Lines(std::string(place, static_cast<std::size_t>(length)) +
                          ListingText(listing.LineAt(*found / kListingLine, listing.Size())) + "\n");
    from = *found + 1;
  }
  return any ? 0 : ViewFailed(environment, NotFoundText(*wanted));
}

int PrintCompared(CliEnvironment& environment, const DataListing& listing, const std::string& path) {
  ViewedFile other;
  if (const Result read = ReadViewed(environment, path, &other); !read.ok()) return ViewFailed(environment, read.text);
  const Mismatches mismatches = FindMismatches(listing.image(), other.Listing().image());
  if (mismatches.otherSize) environment.err << "tonalith-cli view: " << std::string(kCompareSizesDiffer) << "\n";
  environment.out.Lines(MismatchText(mismatches));
  if (mismatches.count == 0) {
    environment.out << "\n";
    return mismatches.otherSize ? ViewFailed(environment, "The data compared is the beginning of the data viewed.") : 0;
  }
  return ViewFailed(environment,
                    Counted(mismatches.count, "byte") + (mismatches.count == 1 ? " differs." : " differ."));
}

int PrintMessages(CliEnvironment& environment, const DataFile* data, const std::string& path,
                  const DataListing& listing) {
  Session session(environment);
  session.LoadStudio();
  SysExWords words(&session.studio());
  MessageLines lines;
  while (!lines.Step(listing.image(), kWrittenAtOnce)) continue;
  for (const std::string& line : ListingHead(data, FileNameOf(path))) environment.out << line << "\n";
  environment.out << "\n";
  for (std::size_t line = 0; line < lines.lines().size(); ++line)
    environment.out.Lines(MessageLineText(lines, listing.image(), line, &words) + "\n");
  if (lines.unlisted() == 0) return 0;
  return ViewFailed(environment, "The last " + Counted(lines.unlisted(), "byte") + " of the file are not listed.");
}

int ViewFile(CliEnvironment& environment, const std::string& path, const CliArguments& arguments) {
  const bool formatted = arguments.Has("formatted");
  ViewedFile file;
  if (const Result read = ReadViewed(environment, path, &file); !read.ok()) return ViewFailed(environment, read.text);
  // Of raw SysEx the instrument's module knows the packing.
  std::unique_ptr<ZKBankDoc> known;
  std::unique_ptr<Session> session;
  if (formatted && !file.data) {
    session = std::make_unique<Session>(environment);
    session->LoadStudio();
    if (const Result opened = OpenBankFile(*session, path, &known); !opened.ok())
      return ViewFailed(environment, opened.text);
  }
  const DataFile* data = known ? known->dataFile() : file.data.get();
  DataListing listing = known ? DataListing(*known->dataFile()) : file.Listing();
  if (formatted && !listing.SetMode(ListingMode::Formatted)) return ViewFailed(environment, listing.FormattedRefusal());
  if (arguments.Has("messages")) return PrintMessages(environment, data, path, listing);
  if (const auto other = arguments.Option("compare")) return PrintCompared(environment, listing, *other);
  if (const auto wanted = arguments.Option("find")) return PrintFound(environment, listing, *wanted);
  PrintListing(environment, data, path, listing);
  return 0;
}

}  // namespace

std::string ViewForms() {
  return "view FILE [--formatted]                     the bytes of data as a listing\n"
         "view FILE --messages                        the bytes as MIDI messages, a line each\n"
         "view FILE --find HEX|TEXT [--formatted]     where bytes or a text stand\n"
         "view FILE --compare FILE                    which bytes of two files differ\n";
}

std::string ViewDetails() {
  return "A data file is listed by its SysEx image, any other file by its bytes.  --formatted lists the bytes of the\n"
         "patches without packing, heads and checksums.\n"
         "--messages writes the messages as the monitor does; bytes that belong to none are lines as well.\n"
         "--find: a line for each place.  Pairs of hex digits are bytes, anything else, or what stands in double\n"
         "quotes, is a text; a text that ends on the very last byte is not found.\n"
         "--compare goes over the size of the second file; the status is 1 when anything differs.\n\n"
         "  tonalith-cli view bank.DAT --find \"43 00\"\n"
         "  tonalith-cli view bank.DAT --find '\"BRASS\"'\n"
         "  tonalith-cli view bank.DAT --compare bank2.DAT\n";
}

int RunView(CliEnvironment& environment, const std::vector<std::string>& args) {
  const CliArguments arguments(args, {"find", "compare"}, {"formatted", "messages"});
  if (!arguments.state().ok()) return CliFailure(environment.err, "view", arguments.state().text, ViewForms());
  if (arguments.words().size() != 1)
    return CliFailure(environment.err, "view", "One file is listed at a time.", ViewForms());
  if (arguments.Has("compare") && arguments.Has("formatted"))
    return CliFailure(environment.err, "view", "Comparing shows the raw SysEx; leave --formatted out.", ViewForms());
  if (arguments.Has("compare") && arguments.Has("find"))
    return CliFailure(environment.err, "view", "Either --find or --compare.", ViewForms());
  if (arguments.Has("messages") && (arguments.Has("formatted") || arguments.Has("find") || arguments.Has("compare")))
    return CliFailure(environment.err, "view", "--messages lists all bytes as they are; give it alone.", ViewForms());
  return ViewFile(environment, arguments.words().front(), arguments);
}

}  // namespace tonalith
