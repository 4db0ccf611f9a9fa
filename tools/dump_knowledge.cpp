#include "tools/dump_knowledge.h"

#include <algorithm>

#include "data/checksums.h"
#include "data/data_size.h"
#include "data/patch_names.h"
#include "platform/text.h"
#include "studio/recognize_rules.h"
#include "studio/studio_document.h"
#include "studio/type_forms.h"

namespace tonalith {

namespace {

// A beginning of fewer bytes says too little to miss the rest; shorter messages are requests and parameters.
constexpr std::size_t kTellingBeginning = 5;
constexpr std::size_t kShortestData = 16;

// The checksums of a form, or that of the descriptor.
std::vector<VerifyRule> SumsOf(const RecognizeRule& rule, const TypeForms& type) {
  const std::vector<VerifyRule>& own = rule.verify.empty() ? type.forms.front().verify : rule.verify;
  if (!own.empty()) return own;
  const Synth& synth = *type.driver->synth();
  if (!synth.checksumLength) return {};
  VerifyRule sum;
  sum.type = synth.checksumType;
  sum.start = synth.checksumStart;
  sum.count = synth.checksumLength;
  sum.offset = synth.checksumOffset;
  return {sum};
}

}  // namespace

// One of the messages that a form of a data type is made of.
struct DumpKnowledge::Shape {
  std::size_t type = 0;
  const RecognizeRule* rule = nullptr;
  std::size_t index = 0;  // among the messages of the rule

  const MessageRule& message() const { return rule->messages[index]; }
  const BytePattern& pattern() const { return rule->byAddress() ? rule->address : message().pattern; }
  std::size_t length() const { return rule->byAddress() ? 0 : message().length; }
};

DumpKnowledge::DumpKnowledge(const ZKStudioDoc& studio) : table_(std::make_unique<TypeTable>()) {
  table_->Load(studio);
  for (std::size_t type = 0; type < table_->types().size(); ++type) {
    for (const RecognizeRule& rule : table_->types()[type].forms) {
      if (rule.byAnswer) continue;
      const std::size_t messages = rule.byAddress() ? 1 : rule.messages.size();
      for (std::size_t index = 0; index < messages; ++index) {
        shapes_.push_back({type, &rule, index});
        byLength_[shapes_.back().length()].push_back(shapes_.size() - 1);
      }
    }
  }
  for (const auto& [length, shapes] : byLength_)
    if (length) lengths_.insert(lengths_.begin(), length);
}

DumpKnowledge::~DumpKnowledge() = default;

std::vector<const DumpKnowledge::Shape*> DumpKnowledge::ShapesOf(std::span<const std::uint8_t> message) const {
  std::vector<const Shape*> found;
  for (const std::size_t length : {message.size(), std::size_t{0}}) {
    const auto shapes = byLength_.find(length);
    if (shapes == byLength_.end()) continue;
    for (const std::size_t place : shapes->second) {
      const Shape& shape = shapes_[place];
      if (shape.rule->byAddress() && message.size() <= shape.pattern().size() + shape.rule->addressBytes + 2) continue;
      if (message.size() >= kTellingBeginning && shape.pattern().Matches(message)) found.push_back(&shape);
    }
  }
  return found;
}

DumpKnowledge::Verdict DumpKnowledge::VerdictOf(const Shape& shape, std::span<const std::uint8_t> message,
                                                std::vector<std::uint8_t>* sealed) const {
  const RecognizeRule& rule = *shape.rule;
  if (sealed) sealed->assign(message.begin(), message.end());
  if (rule.byAddress()) {
    const auto summed = message.subspan(rule.address.size(), message.size() - rule.address.size() - 2);
    const std::uint8_t sum = RolandCheckSum(summed.data(), static_cast<std::int64_t>(summed.size()));
    if (sealed) (*sealed)[message.size() - 2] = sum;
    return sum == message[message.size() - 2] ? Verdict::Good : Verdict::BadChecksum;
  }
  const TypeForms& type = table_->types()[shape.type];
  const Synth& synth = *type.driver->synth();
  const MessageRule& part = shape.message();
  const bool isImage = part.length == 0;
  // The message where it stands in an image, at the first place that it can fill.
  const std::size_t skip = isImage ? 0 : part.skip, take = isImage ? message.size() : part.take;
  const std::size_t base = isImage ? 0 : part.at + (rule.hasSlots ? rule.SlotPlace(synth, 0) : 0);
  if (skip + take > message.size()) return Verdict::Fits;
  std::vector<std::uint8_t> image(base + take);
  std::copy_n(message.begin() + static_cast<std::ptrdiff_t>(skip), take,
              image.begin() + static_cast<std::ptrdiff_t>(base));
  Verdict verdict = Verdict::Fits;
  const auto isInside = [&](std::int64_t place) {
    return place >= static_cast<std::int64_t>(base) && place < static_cast<std::int64_t>(base + take);
  };
  for (const VerifyRule& sum : SumsOf(rule, type)) {
    VisitVerifyPlaces(sum, image, [&](const VerifyPlace& place) {
      if (!isInside(place.start) || !isInside(place.start + place.count - 1) || !isInside(place.offset)) return true;
      const auto stored = static_cast<std::size_t>(place.offset);
      if (sum.always >= 0 && image[stored] == sum.always) return true;
      const ChecksumVerdict one =
          VerifyChecksum(image, static_cast<int>(sum.type), place.start, place.count, place.offset);
      if (one == ChecksumVerdict::kBad) {
        verdict = Verdict::BadChecksum;
        if (sealed) CSum(image, 0, static_cast<int>(sum.type), place.start, place.count, place.offset);
      }
      if (one == ChecksumVerdict::kOk && verdict == Verdict::Fits) verdict = Verdict::Good;
      return true;
    });
  }
  if (sealed)
    std::copy_n(image.begin() + static_cast<std::ptrdiff_t>(base), take,
                sealed->begin() + static_cast<std::ptrdiff_t>(skip));
  return verdict;
}

// Of data by address: when it begins where a block does, that of the block.
std::size_t DumpKnowledge::LengthOf(const Shape& shape, std::span<const std::uint8_t> message) {
  const RecognizeRule& rule = *shape.rule;
  if (!rule.byAddress()) return shape.length();
  const std::uint32_t address = SevenBitNumber(message.subspan(rule.address.size(), rule.addressBytes));
  for (const AreaRule& area : rule.areas) {
    if (address < area.base) continue;
    std::uint32_t local = address - area.base;
    if (area.slots && area.step) {
      if (local / area.step >= area.slots) continue;
      local %= area.step;
    }
    for (const BlockRule& block : rule.blocks)
      if (block.offset == local) return rule.FramedSize(block);
  }
  return 0;
}

std::string DumpKnowledge::NameOf(const Shape& shape, std::span<const std::uint8_t> message) const {
  const ZKDrvList& driver = *table_->types()[shape.type].driver;
  std::string name =
      (driver.instrument ? driver.instrument->name : driver.name) + " " + Latin1ToUtf8(driver.TypeName());
  const RecognizeRule& rule = *shape.rule;
  const Synth& synth = *driver.synth();
  std::int64_t number = -1;
  if (rule.slotInMessage() && shape.index == 0) {
    number = rule.SlotIn(message);
    if (number >= rule.slotCount) number = -1;
  }
  if (number >= 0) {
    const std::string shown = MakeNumberStr(synth, static_cast<int>(number));
    name += " " + Latin1ToUtf8(TrimmedView(shown));
  }
  return name;
}

DumpKnowledge::Judgement DumpKnowledge::Judge(std::span<const std::uint8_t> message) const {
  Judgement judgement;
  const auto better = [](Verdict verdict) {
    // A right checksum tells most, a wrong one more than none.
    return verdict == Verdict::Good ? 3 : verdict == Verdict::BadChecksum ? 2 : verdict == Verdict::Fits ? 1 : 0;
  };
  for (const Shape* shape : ShapesOf(message)) {
    const Verdict verdict = VerdictOf(*shape, message, nullptr);
    if (better(verdict) <= better(judgement.verdict)) continue;
    judgement.verdict = verdict;
    judgement.what = NameOf(*shape, message);
    judgement.length = LengthOf(*shape, message);
  }
  if (judgement.verdict != Verdict::Unknown || message.size() < kShortestData) return judgement;
  std::size_t longest = kTellingBeginning - 1;
  for (const Shape& shape : shapes_) {
    if (shape.length() == 0 || shape.pattern().size() <= longest || !shape.pattern().Matches(message)) continue;
    longest = shape.pattern().size();
    judgement.verdict = Verdict::WrongLength;
    judgement.what = NameOf(shape, message);
    judgement.length = shape.length();
  }
  return judgement;
}

bool DumpKnowledge::Seal(std::vector<std::uint8_t>* message) const {
  for (const Shape* shape : ShapesOf(*message)) {
    std::vector<std::uint8_t> sealed;
    if (VerdictOf(*shape, *message, &sealed) != Verdict::BadChecksum) continue;
    if (!Judge(sealed).IsWhole()) continue;
    *message = std::move(sealed);
    return true;
  }
  return false;
}

std::vector<std::size_t> DumpKnowledge::LengthsOf(std::span<const std::uint8_t> beginning) const {
  std::vector<std::size_t> lengths;
  if (beginning.size() < kTellingBeginning) return lengths;
  for (const Shape& shape : shapes_)
    if (shape.length() && shape.pattern().Matches(beginning)) lengths.push_back(shape.length());
  std::sort(lengths.begin(), lengths.end());
  lengths.erase(std::unique(lengths.begin(), lengths.end()), lengths.end());
  return lengths;
}

bool DumpKnowledge::SaysItsPlace(std::span<const std::uint8_t> message) const {
  for (const Shape* shape : ShapesOf(message)) {
    const RecognizeRule& rule = *shape->rule;
    const Synth& synth = *table_->types()[shape->type].driver->synth();
    if (rule.hasContext) continue;
    if (rule.slotInMessage() && rule.messages.size() == 1) return true;
    if (rule.hasSlots || rule.byAddress()) continue;
    if (rule.messages.size() == 1 && (synth.numVoices > 1 || rule.patchByte >= 0)) return true;
  }
  return false;
}

}  // namespace tonalith
