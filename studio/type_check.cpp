#include "studio/type_check.h"

#include <algorithm>
#include <map>
#include <vector>

#include "data/sysex_split.h"
#include "script/volatile_bytes.h"
#include "studio/answer_forms.h"
#include "studio/recognize_rules.h"
#include "studio/studio_document.h"
#include "studio/type_forms.h"

namespace tonalith {

namespace {

class TypeCheck final : public ReceivedCheck, public VolatileBytes {
 public:
  TypeCheck(std::vector<RecognizeRule> forms, const Synth& synth)
      : forms_(std::move(forms)), answers_(std::make_shared<const AnswerRules>(AnswerRulesOf(forms_, synth))) {
    if (forms_.empty()) return;
    for (const VolatilePlaces& places : forms_.front().changing) changing_.push_back({places.first, places.count});
  }

  std::shared_ptr<const AnswerRules> Answers() const override { return answers_; }

  const std::vector<ByteRun>& InPatch() const override { return changing_; }

  ChecksumVerdict Sums(const Synth& synth, std::span<const std::uint8_t> part, bool isPatch) const override {
    std::vector<VerifyRule> rules = forms_.empty() ? std::vector<VerifyRule>() : forms_.front().verify;
    if (isPatch) {
      // The places of the first patch are those of every patch.
      for (VerifyRule& rule : rules)
        if (rule.times == synth.numVoices) rule.times = 1;
    }
    return VerifyImage(rules, synth, part, [](std::uint32_t) { return false; });
  }

  std::vector<ByteRun> NotKept(const Synth& synth, std::span<const std::uint8_t> image) const override {
    constexpr std::size_t kWidestSum = 2;
    std::vector<ByteRun> runs = ReceivedCheck::NotKept(synth, image);
    if (forms_.empty()) return runs;
    for (const VerifyRule& rule : forms_.front().verify) {
      VisitVerifyPlaces(rule, image, [&](const VerifyPlace& place) {
        runs.push_back({static_cast<std::size_t>(place.offset), kWidestSum});
        return true;
      });
    }
    return runs;
  }

  ChecksumVerdict MessageSums(std::span<const std::uint8_t> came) const override {
    std::map<std::vector<std::uint8_t>, bool> right;  // by address
    SysExSplitter splitter(came);
    for (SysExPiece piece; splitter.Next(&piece);) {
      const std::vector<std::uint8_t> message = CleanSysEx(piece);
      const auto form = std::find_if(forms_.begin(), forms_.end(), [&](const RecognizeRule& rule) {
        return rule.byAddress() && message.size() > rule.address.size() + rule.addressBytes + 2 &&
               rule.address.Matches(message);
      });
      if (!piece.isTerminated || form == forms_.end()) continue;
      const auto address = message.begin() + static_cast<std::ptrdiff_t>(form->address.size());
      const auto sum = RolandCheckSum(&*address, message.end() - address - 2);
      right[{address, address + form->addressBytes}] = sum == *(message.end() - 2);
    }
    if (right.empty()) return ChecksumVerdict::kNone;
    const bool all = std::all_of(right.begin(), right.end(), [](const auto& entry) { return entry.second; });
    return all ? ChecksumVerdict::kOk : ChecksumVerdict::kBad;
  }

 private:
  std::vector<RecognizeRule> forms_;
  std::vector<ByteRun> changing_;
  std::shared_ptr<const AnswerRules> answers_;
};

}  // namespace

ChecksumVerdict VerifyImage(std::span<const VerifyRule> rules, const Synth& synth, std::span<const std::uint8_t> image,
                            const std::function<bool(std::uint32_t voice)>& isEmpty) {
  if (rules.empty()) return VerifyChecksum(synth, image);
  ChecksumVerdict verdict = ChecksumVerdict::kNone;
  for (const VerifyRule& v : rules) {
    const bool perVoice = v.times == synth.numVoices && v.step == synth.voiceSize;
    VisitVerifyPlaces(v, image, [&](const VerifyPlace& place) {
      if (perVoice && isEmpty(place.turn)) return true;
      const auto stored = static_cast<std::size_t>(place.offset);
      const bool always = v.always >= 0 && stored < image.size() && image[stored] == v.always;
      const ChecksumVerdict one =
          always ? ChecksumVerdict::kOk
                 : VerifyChecksum(image, static_cast<int>(v.type), place.start, place.count, place.offset);
      if (one != ChecksumVerdict::kNone) verdict = one;
      return one != ChecksumVerdict::kBad;
    });
    if (verdict == ChecksumVerdict::kBad) return verdict;
  }
  return verdict;
}

std::shared_ptr<const ReceivedCheck> CheckOfType(const ZKStudioDoc& studio, const DataFile& dataFile) {
  const ZKDrvList* driver = dataFile.synth ? studio.GetDriverWithID(dataFile.synth->driverId) : nullptr;
  return driver ? std::make_shared<TypeCheck>(FormsOfDriver(*driver), *driver->synth()) : nullptr;
}

}  // namespace tonalith
