#include "studio/type_forms.h"

#include <algorithm>

#include "data/sysex_split.h"
#include "platform/ini_file.h"
#include "platform/text.h"
#include "studio/studio_document.h"

namespace tonalith {

namespace {

// 0: any.
std::uint32_t LengthOfFirst(const RecognizeRule& rule) {
  return rule.byAddress() ? 0 : rule.messages.front().length;
}

bool SamePattern(const BytePattern& a, const BytePattern& b) {
  return a.value == b.value && a.mask == b.mask;
}

}  // namespace

std::vector<RecognizeRule> FormsOfDriver(const ZKDrvList& driver, const IniFile& ini,
                                         std::vector<std::string>* problems) {
  const Synth& synth = *driver.synth();
  std::vector<RecognizeRule> forms;
  bool hasRules = false;
  for (int form = 0; form < kMostForms; ++form) {
    const std::string section =
        form == 0 ? Printf("Recognize %d", synth.driverId) : Printf("Recognize %d.%d", synth.driverId, form);
    const auto entries = ini.Entries(section);
    if (entries.empty()) break;
    hasRules = true;
    RecognizeRule rule;
    const Result result = ParseRecognizeRule(entries, synth, &rule);
    if (result.ok())
      forms.push_back(std::move(rule));
    else if (problems)
      problems->push_back(driver.moduleFile + ": [" + section + "]: " + result.text);
  }
  if (!hasRules) forms = FormsOfAnswer(synth, BodySpan(*driver.dataFile));
  return forms;
}

std::vector<RecognizeRule> FormsOfDriver(const ZKDrvList& driver, std::vector<std::string>* problems) {
  if (!driver.synth() || !driver.instrument) return {};
  return FormsOfDriver(driver, IniFile(driver.instrument->GetIniPath().string()), problems);
}

void TypeTable::Load(const ZKStudioDoc& studio) {
  for (const auto& instrument : studio.instruments()) {
    const IniFile ini(instrument->GetIniPath().string());
    LoadOthers(*instrument, ini);
    std::string problem;
    if (auto coding = ReadCodedMessages(ini, &problem)) codings_.emplace_back(instrument->name, std::move(*coding));
    if (!problem.empty()) problems_.push_back(instrument->moduleFile + ": [Coded Messages]: " + problem);
    for (const auto& driver : instrument->drivers)
      if (driver->synth()) {
        types_.push_back({driver.get(), FormsOfDriver(*driver, ini, &problems_)});
        AddToIndex();
      }
  }
  for (MakerForms& maker : makers_) IndexLengths(&maker);
}

void TypeTable::LoadOthers(const ZKDrvList& instrument, const IniFile& ini) {
  for (const auto& [what, pattern] : ini.Entries("Other Messages")) {
    OtherMessage message{what + " of the " + instrument.name, {}, false};
    std::string error;
    std::string_view bytes = TrimmedView(pattern);
    message.open = bytes.ends_with('*');
    if (message.open) bytes.remove_suffix(1);
    if (ParseBytePattern(bytes, &message.pattern, &error))
      others_.push_back(std::move(message));
    else
      problems_.push_back(instrument.moduleFile + ": [Other Messages]: " + error);
  }
}

bool OtherMessage::Is(std::span<const std::uint8_t> message) const {
  const bool sized = open ? message.size() >= pattern.size() : message.size() == pattern.size();
  return sized && pattern.Matches(message);
}

// The type that was added last.
void TypeTable::AddToIndex() {
  const TypeForms& type = types_.back();
  for (std::size_t i = 0; i < type.forms.size(); ++i) {
    const RecognizeRule& rule = type.forms[i];
    const BytePattern& pattern = rule.byAddress() ? rule.address : rule.messages.front().pattern;
    for (unsigned maker = 0; maker < makers_.size(); ++maker)
      if ((maker & pattern.mask[1]) == pattern.value[1])
        makers_[maker].all.push_back({static_cast<std::uint32_t>(types_.size() - 1), static_cast<std::uint32_t>(i)});
    const auto known = [&](const BytePattern& family) { return SamePattern(family, rule.contextFamily); };
    if (rule.hasContext && std::none_of(contexts_.begin(), contexts_.end(), known))
      contexts_.push_back(rule.contextFamily);
  }
}

void TypeTable::IndexLengths(MakerForms* maker) const {
  for (const FormIndex& index : maker->all)
    if (const std::uint32_t length = LengthOfFirst(Form(index))) maker->byLength[length];
  for (const FormIndex& index : maker->all) {
    const std::uint32_t length = LengthOfFirst(Form(index));
    if (length) {
      maker->byLength[length].push_back(index);
      continue;
    }
    maker->anyLength.push_back(index);
    for (auto& [exact, forms] : maker->byLength) forms.push_back(index);
  }
}

const TypeForms* TypeTable::TypeOf(int driverId) const {
  for (const TypeForms& type : types_)
    if (type.driver->synth()->driverId == driverId) return &type;
  return nullptr;
}

const std::vector<FormIndex>& TypeTable::Candidates(const FileMessage& message) const {
  const MakerForms& maker = makers_[message.bytes[1]];
  const auto found = maker.byLength.find(static_cast<std::uint32_t>(message.bytes.size()));
  return found == maker.byLength.end() ? maker.anyLength : found->second;
}

// ---- types without rules --------------------------------------------------------------------------------------------

namespace {

constexpr std::uint8_t kSysEx = 0xF0, kEnd = 0xF7, kLongMaker = 0x00;
constexpr std::size_t kLongestHead = 32;
constexpr std::size_t kMostMessages = 64;  // of one image

// F0 and the maker at the beginning of a message; 0 when it is no message of this maker.
std::size_t MakerBytes(std::span<const std::uint8_t> bytes, const Synth& synth) {
  if (bytes.size() < 2 || bytes[0] != kSysEx || bytes[1] != synth.manufacturerId) return 0;
  const std::size_t count = bytes[1] == kLongMaker ? 4 : 2;
  return bytes.size() > count ? count : 0;
}

// The beginning of an answer while it is found out which of its bits are fixed.
struct AnswerHead {
  BytePattern pattern;
  std::size_t maker = 0;  // bytes of F0 and the maker, which stay fixed

  AnswerHead(std::span<const std::uint8_t> bytes, std::size_t makerBytes)
      : pattern{{bytes.begin(), bytes.end()}, std::vector<std::uint8_t>(bytes.size(), 0xFF)}, maker(makerBytes) {}
  void Open(std::size_t place, unsigned bits = 0xFF) {
    if (place < maker || place >= pattern.size()) return;
    pattern.mask[place] = static_cast<std::uint8_t>(pattern.mask[place] & ~bits);
    pattern.value[place] = static_cast<std::uint8_t>(pattern.value[place] & pattern.mask[place]);
  }
  // Says more than the maker.
  bool NamesModel() const {
    return std::any_of(pattern.mask.begin() + static_cast<std::ptrdiff_t>(maker), pattern.mask.end(),
                       [](std::uint8_t mask) { return mask == 0xFF; });
  }
};

RecognizeRule AnswerForm(BytePattern pattern, std::uint32_t length) {
  RecognizeRule rule;
  MessageRule message;
  message.pattern = std::move(pattern);
  message.length = message.take = length;
  rule.messages.push_back(std::move(message));
  rule.byAnswer = true;
  return rule;
}

// An image of several messages: their lengths, and of those behind the first the maker.
void AddFurtherMessages(std::span<const std::uint8_t> image, std::size_t maker, RecognizeRule* rule) {
  const std::vector<SysExPiece> pieces = SplitSysEx(image);
  std::size_t covered = 0;
  for (const SysExPiece& piece : pieces) covered += piece.bytes.size();
  if (covered != image.size() || pieces.size() < 2 || pieces.size() > kMostMessages) return;
  rule->messages.front().length = rule->messages.front().take = static_cast<std::uint32_t>(pieces[0].bytes.size());
  for (std::size_t i = 1; i < pieces.size(); ++i) {
    MessageRule message;
    message.pattern = AnswerHead(image.first(maker), maker).pattern;
    message.length = message.take = static_cast<std::uint32_t>(pieces[i].bytes.size());
    message.at = static_cast<std::uint32_t>(pieces[i].offset);
    rule->messages.push_back(std::move(message));
  }
}

constexpr unsigned ChannelBits(std::uint8_t shift) {
  return 0x0Fu << (shift & 7);
}

}  // namespace

std::vector<RecognizeRule> FormsOfAnswer(const Synth& synth, std::span<const std::uint8_t> initial) {
  std::vector<RecognizeRule> forms;
  const std::span<const std::uint8_t> image = initial.first(std::min<std::size_t>(initial.size(), synth.fileSize));
  if (const std::size_t maker = MakerBytes(image, synth)) {
    AnswerHead head(image.first(std::min<std::size_t>({image.size(), synth.headerSize, kLongestHead})), maker);
    if (synth.hasSysExChannel) head.Open(synth.sysExChannelOffset, ChannelBits(synth.sysExChannelShift));
    if (synth.patchNumberInImage && synth.patchNumberOffset != 0) head.Open(synth.patchNumberOffset);
    if (head.pattern.size() <= maker || !head.NamesModel()) return forms;
    forms.push_back(AnswerForm(std::move(head.pattern), synth.fileSize));
    AddFurtherMessages(image, maker, &forms.front());
    return forms;
  }
  if (synth.manufacturerId == kRolandId && (synth.rolandSize[0] || synth.rolandSize[1] || synth.rolandSize[2])) {
    constexpr std::uint8_t kDataSet = 0x12;
    AnswerHead head(std::array<std::uint8_t, 5>{kSysEx, kRolandId, 0, synth.dumpRequest[0], kDataSet}, 2);
    head.Open(2);
    if (synth.dumpRequest[0] != 0) forms.push_back(AnswerForm(std::move(head.pattern), synth.fileSize));
    return forms;
  }
  std::span<const std::uint8_t> request{
      synth.dumpRequest, std::min<std::size_t>({synth.dumpRequestSize, sizeof synth.dumpRequest, synth.fileSize})};
  const std::size_t maker = MakerBytes(request, synth);
  if (maker == 0) return forms;
  if (request.back() == kEnd) request = request.first(request.size() - 1);
  AnswerHead head(request, maker);
  if (synth.dumpRequestHasChannel)
    head.Open(synth.dumpRequestChannelOffset, ChannelBits(synth.dumpRequestChannelShift));
  if (synth.dumpRequestPatchOffset) head.Open(synth.dumpRequestPatchOffset);
  for (std::size_t place = maker; place < head.pattern.size(); ++place) {
    AnswerHead answer = head;
    answer.Open(place);
    if (answer.NamesModel()) forms.push_back(AnswerForm(std::move(answer.pattern), synth.fileSize));
  }
  return forms;
}

}  // namespace tonalith
