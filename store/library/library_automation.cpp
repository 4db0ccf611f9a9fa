#include "store/library/library_automation.h"

#include <algorithm>
#include <optional>
#include <utility>
#include <variant>

#include "platform/text.h"
#include "store/library/library_sort.h"

namespace tonalith {

namespace {

constexpr int kWrongKind = -3, kNotDone = -1;

const std::string* TextIn(const std::vector<LibraryArgument>& arguments, std::size_t at) {
  return at < arguments.size() ? std::get_if<std::string>(&arguments[at]) : nullptr;
}
const std::int64_t* NumberIn(const std::vector<LibraryArgument>& arguments, std::size_t at) {
  return at < arguments.size() ? std::get_if<std::int64_t>(&arguments[at]) : nullptr;
}

}  // namespace

// A command; without `run` it is one of a window.
struct LibraryAutomation::Row {
  const char* name;
  bool texts = false;
  int (*run)(LibraryAutomation& self, const Arguments& arguments) = nullptr;
};

const std::vector<LibraryAutomation::Row>& LibraryAutomation::Rows() {
  using Self = LibraryAutomation;
  static const std::vector<Row> kRows = {
      {"Name", true, [](Self& s, const Arguments& a) { return s.Texts(a, LibraryColumn::Name, "Rename"); }},
      {"Comment", true, [](Self& s, const Arguments& a) { return s.Texts(a, LibraryColumn::Comment, "Comment"); }},
      {"Keyword", false, [](Self& s, const Arguments& a) { return s.Slot(a, kKeywordSlots, false); }},
      {"Tag", false, [](Self& s, const Arguments& a) { return s.Slot(a, kLibraryTags, true); }},
      {"Choose", false, [](Self& s, const Arguments& a) { return s.Choose(a); }},
      {"Sort", false, [](Self& s, const Arguments& a) { return s.SortBy(a); }},
      {"SaveAs", true, [](Self& s, const Arguments& a) { return s.SaveAs(a); }},
      {"Select", false, [](Self& s, const Arguments& a) { return s.Select(a, true); }},
      {"XSelect", false, [](Self& s, const Arguments& a) { return s.Select(a, false); }},
      {"PortIn", false, [](Self& s, const Arguments& a) { return s.Setting(a, "PortIn"); }},
      {"PortOut", false, [](Self& s, const Arguments& a) { return s.Setting(a, "PortOut"); }},
      {"CommCh", false, [](Self& s, const Arguments& a) { return s.Setting(a, "CommCh"); }},
      {"MidiCh", false, [](Self& s, const Arguments& a) { return s.Setting(a, "MidiCh"); }},
      {"Pch", false, [](Self& s, const Arguments& a) { return s.Setting(a, "Pch"); }},
      {"Cut", false, [](Self& s, const Arguments&) { return s.Copy(true); }},
      {"Copy", false, [](Self& s, const Arguments&) { return s.Copy(false); }},
      {"Paste", false, [](Self& s, const Arguments&) { return s.Paste(); }},
      {"Clear", false, [](Self& s, const Arguments&) { return s.Take(s.library_.RemoveDataList(s.view_.Selected())); }},
      {"SelectAll", false,
       [](Self& s, const Arguments&) {
         s.view_.SelectAll();
         return 0;
       }},
      {"ViewHideSelected", false,
       [](Self& s, const Arguments&) { return s.Take(s.library_.SetHidden(s.view_.Selected(), true)); }},
      {"ViewShowAll", false,
       [](Self& s, const Arguments&) {
         s.view_.ShowAll();
         return s.Take(s.library_.SetHidden(std::vector<EntryId>(s.library_.Order()), false));
       }},
      {"Save", false, [](Self& s, const Arguments&) { return s.Take(s.library_.Save()); }},
      {"GetSelect", false, [](Self& s, const Arguments&) { return s.Query("GetSelect"); }},
      {"GetSelectNames", false, [](Self& s, const Arguments&) { return s.Query("GetSelectNames"); }},
      {"GetCount", false, [](Self& s, const Arguments&) { return s.Query("GetCount"); }},
      {"ViewNamesOnly"},
      {"DiskLoadLink", true},
      {"PlayNote"},
      {"Cntrl"},
      {"Split"},
      {"OpenEditor"},
      {"OpenSysXView"},
      {"OpenBuildBank"},
      {"ViewList"},
      {"ViewSmallIcons"},
      {"ViewLargeIcons"},
      {"DiskLoad"},
      {"DiskSave"},
      {"DiskSaveLink"},
      {"DiskResolveLinks"},
      {"MixAll"},
      {"Blend"},
      {"Gen4"},
      {"Morph"},
      {"MidiRecv"},
      {"Print"},
      {"MidiSend"},
      {"PlayChord"},
      {"PlaySequence"},
      {"PlayLastNote"},
  };
  return kRows;
}

std::string LibraryAutomation::CommandNamed(std::string_view text) {
  for (int pass = 0; pass < 2; ++pass) {
    for (const Row& row : Rows())
      if (AsciiEqualNoCase(row.name, text)) return row.name;
    if (text.empty() || (text.front() != 'L' && text.front() != 'l')) break;
    text.remove_prefix(1);
  }
  return {};
}

std::vector<std::string> LibraryAutomation::CommandNames() {
  std::vector<std::string> names;
  for (const Row& row : Rows())
    if (row.run) names.emplace_back(row.name);
  return names;
}

bool LibraryAutomation::TakesTexts(const std::string& command) {
  const auto row = std::find_if(Rows().begin(), Rows().end(), [&](const Row& one) { return one.name == command; });
  return row != Rows().end() && row->texts;
}

int LibraryAutomation::Fail(int code, std::string problem) {
  problem_ = std::move(problem);
  return code;
}

int LibraryAutomation::Take(const Result& result) {
  view_.Refresh();
  return result.ok() ? 0 : Fail(kNotDone, result.text);
}

int LibraryAutomation::CQAutomation(std::string_view command, const std::vector<LibraryArgument>& arguments) {
  problem_.clear();
  results_.clear();
  const std::string name = CommandNamed(command);
  const auto row = std::find_if(Rows().begin(), Rows().end(), [&](const Row& one) { return one.name == name; });
  if (row == Rows().end()) return Fail(kNotDone, "A Library has no command \"" + std::string(command) + "\".");
  if (row->run) return row->run(*this, arguments);
  if (window_ && window_(name, arguments)) return 0;
  return Fail(kNotDone, "The command " + name + " needs a window or an instrument.");
}

// One text for each selected entry, in order.
int LibraryAutomation::Texts(const Arguments& arguments, LibraryColumn column, const char* name) {
  std::vector<std::string> texts;
  for (std::size_t i = 0; i < arguments.size(); ++i) {
    const std::string* text = TextIn(arguments, i);
    if (!text) return Fail(kWrongKind, "Texts are needed.");
    texts.push_back(*text);
  }
  const std::vector<EntryId> selected = view_.Selected();
  if (selected.empty() && !texts.empty()) return Fail(kNotDone, "Nothing is selected.");
  return Take(library_.SetTexts(selected, column, texts, name));
}

int LibraryAutomation::Slot(const Arguments& arguments, int slots, bool tags) {
  const std::int64_t* slot = NumberIn(arguments, 0);
  const std::string* text = TextIn(arguments, 1);
  if (!slot || !text || arguments.size() != 2 || *slot < 1 || *slot > slots)
    return Fail(kWrongKind, "A number from 1 to " + std::to_string(slots) + " and a text are needed.");
  const int at = static_cast<int>(*slot) - 1;
  const std::vector<EntryId> selected = view_.Selected();
  if (selected.empty()) return Fail(kNotDone, "Nothing is selected.");
  return Take(library_.SetText(selected, tags ? TagColumn(at) : KeywordColumn(at), *text,
                               tags ? "Change Tag" : "Change Keyword"));
}

int LibraryAutomation::Choose(const Arguments& arguments) {
  LibraryCriteria criteria;
  if (Result read = ReadChoose(arguments, &criteria); !read.ok()) return Fail(kWrongKind, read.text);
  const LibrarySnapshot snapshot = SnapshotOf(library_, criteria, view_.Selected());
  found_ = {};
  if (Result result = LibProcessRequest(snapshot, criteria, {}, &found_); !result.ok())
    return Fail(kNotDone, result.text);
  if (criteria.appendDuplicateName)
    if (Result noted = AppendDuplicateNames(library_, found_); !noted.ok()) return Take(noted);
  if (found_.found.empty()) return Fail(0, "No changes to library list!");
  view_.ShowOnly(found_.found);
  view_.ClearSelection();
  return 0;
}

int LibraryAutomation::SortBy(const Arguments& arguments) {
  if (library_.GetDataFileCount() == 0) return 0;
  LibrarySortKey key;
  const std::string* by = TextIn(arguments, 0);
  if (!arguments.empty() && !by) return Fail(kWrongKind, "Name, Comment, Key with a number, or Tag is needed.");
  if (by && AsciiEqualNoCase(*by, "Key") && arguments.size() > 1) {
    const std::int64_t* slot = NumberIn(arguments, 1);
    if (!slot || *slot < 1 || *slot > kKeywordSlots) return Fail(kWrongKind, "There are the keys 1 to 8.");
    key.column = KeywordColumn(static_cast<int>(*slot) - 1);
  } else if (by && (AsciiEqualNoCase(*by, "Tag") || AsciiEqualNoCase(*by, "Key"))) {
    key.allKeywords = true;
  } else if (by) {
    const auto named = LibrarySortKeyNamed(*by);
    if (!named) return Fail(kWrongKind, "A Library is not sorted by \"" + *by + "\".");
    key = *named;
  }
  return Take(doLibSort(library_, key));
}

int LibraryAutomation::Select(const Arguments& arguments, bool clear) {
  if (clear) view_.ClearSelection();
  for (const LibraryArgument& argument : arguments) {
    if (const auto* position = std::get_if<std::int64_t>(&argument)) {
      const std::vector<EntryId>& listed = view_.Listed();
      if (*position >= 1 && static_cast<std::uint64_t>(*position) <= listed.size())
        view_.Select(listed[static_cast<std::size_t>(*position) - 1]);
    } else {
      view_.SelectNamed(Utf8ToLatin1(std::get<std::string>(argument), '\x01'));
    }
  }
  return 0;
}

int LibraryAutomation::SaveAs(const Arguments& arguments) {
  const std::string* path = TextIn(arguments, 0);
  if (!path || path->empty()) return Fail(kWrongKind, "A path is needed.");
  return Take(library_.Save(*path));
}

int LibraryAutomation::Setting(const Arguments& arguments, const std::string& name) {
  const std::int64_t* given = NumberIn(arguments, 0);
  if (!given) return Fail(kWrongKind, "A number is needed.");
  const std::int64_t number = *given;
  // A port that is not there is left as it is.
  const int ports = name == "PortIn" ? portsIn_ : portsOut_;
  if (name.starts_with("Port") && (number < 1 || number > ports)) return 0;
  return Take(library_.ChangeDriver(name, [&](Synth& synth) {
    if (name == "PortIn") synth.midiInPort = static_cast<std::uint8_t>(number - 1);
    if (name == "PortOut") synth.midiOutPort = static_cast<std::uint8_t>(number - 1);
    if (name == "MidiCh") synth.midiChannel = static_cast<std::uint8_t>(number < 1 ? 0 : number > 16 ? 15 : number - 1);
    if (name == "CommCh")
      synth.sysExChannel =
          static_cast<std::uint8_t>(std::clamp<std::int64_t>(number - 1, 0, std::max<int>(synth.sysExChannelMax, 0)));
    if (name == "Pch") synth.patchNumber = static_cast<std::uint16_t>(std::clamp<std::int64_t>(number, 0, 65535));
  }));
}

int LibraryAutomation::Copy(bool cut) {
  const std::vector<EntryId> selected = view_.Selected();
  clipboard_.clear();
  for (const EntryId entry : selected) clipboard_.emplace_back(DupForUser(library_.Data(entry)));
  return cut ? Take(library_.RemoveDataList(selected, "Cut")) : 0;
}

int LibraryAutomation::Paste() {
  library_.ChangeTogether("Paste", [this] {
    for (const DataFilePtr& data : clipboard_)
      if (data) library_.Add(DataFilePtr(DupForUser(data.get())));
  });
  view_.Refresh();
  return 0;
}

int LibraryAutomation::Query(const std::string& name) {
  if (name == "GetCount") results_.emplace_back(static_cast<std::int64_t>(library_.GetDataFileCount()));
  const std::vector<EntryId>& listed = view_.Listed();
  for (std::size_t i = 0; name != "GetCount" && i < listed.size(); ++i) {
    if (!view_.IsSelected(listed[i])) continue;
    if (name == "GetSelect") {
      results_.emplace_back(static_cast<std::int64_t>(i + 1));
    } else {
      results_.emplace_back(library_.Text(listed[i], LibraryColumn::Name));
    }
  }
  return 0;
}

}  // namespace tonalith
