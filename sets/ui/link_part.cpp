#include "sets/ui/link_part.h"

#include <QTimer>
#include <filesystem>
#include <utility>
#include <vector>

#include "services/settings.h"
#include "store/bank_slots.h"
#include "store/sets/set_document.h"
#include "ui/plain_text.h"
#include "ui/window_context.h"

namespace tonalith {

namespace {

LinkTracker::ModuleFolder FoldersOf(const ZKGrpDoc& set, WindowContext& context) {
  return [&set, &context](int driverId) {
    const int component = set.GetIndexForID(driverId);
    return component < 0 ? std::filesystem::path() : context.ModuleFolder(*set.GetDataFile(component));
  };
}

void PutBack(const DataFile& before, std::uint32_t slot, DataFile* data) {
  BankSlots was(const_cast<DataFile&>(before)), now(*data);
  const auto patch = static_cast<int>(slot);
  now.Put(patch, was.Take(patch), true);
}

}  // namespace

SetLinkPart::SetLinkPart(ZKGrpDoc& set, WindowContext& context, Host host)
    : set_(set), context_(context), host_(std::move(host)), tracker_(set, FoldersOf(set, context)) {}

bool SetLinkPart::IsOn() const {
  return context_.settings().Value(SettingId::MainShowParentChildRelationships) != 0;
}

bool SetLinkPart::AskAboutLost(int component, DataFile* data) {
  const std::vector<std::uint32_t> lost = tracker_.LostOnes(component, *data);
  PromptAnswer answer = PromptAnswer::None;
  bool all = false;
  for (const std::uint32_t slot : lost) {
    if (!all) {
      MessagePrompt prompt;
      prompt.title = "Link Tracker Warning";
      prompt.text = tracker_.Warning(component, slot);
      prompt.buttons = PromptButtons::YesNoCancel;
      prompt.icon = PromptIcon::Warning;
      prompt.labels = {"Overwrite", "Skip", "Cancel"};
      if (lost.size() > 1) {
        prompt.checkBox = "The same for all that are used";
        prompt.checked = &all;
      }
      answer = context_.prompts().Message(prompt);
    }
    if (answer != PromptAnswer::Yes && answer != PromptAnswer::No) return false;
    if (answer == PromptAnswer::No) PutBack(*set_.GetDataFile(component), slot, data);
  }
  return true;
}

Result SetLinkPart::Put(int component, DataFilePtr data, const std::string& name) {
  if (!IsOn()) return set_.EditData(component, *data, name);
  if (!AskAboutLost(component, data.get())) return Result::Failure("Nothing was changed.");
  const LinkTracker::Outcome outcome = tracker_.Edit(component, *data, name);
  // Behind what the command itself says.
  if (const std::string sentence = outcome.Sentence(); !sentence.empty())
    QTimer::singleShot(0, this, [this, sentence] { host_.say(ShownUtf8(sentence)); });
  return outcome.result;
}

QString SetLinkPart::Note(int component, int patch) const {
  return IsOn() ? ShownUtf8(tracker_.LineOf(component, static_cast<std::uint32_t>(patch))) : QString();
}

void SetLinkPart::Describe(int component, int patch, InspectorContent* content) const {
  if (!IsOn() || patch < 0) return;
  InspectorSection section{tr("Links"), {}};
  const auto slot = static_cast<std::uint32_t>(patch);
  const auto add = [&](const QString& label, const std::vector<LinkTracker::Place>& places) {
    for (const LinkTracker::Place& place : places) {
      InspectorRow row;
      row.label = label;
      row.value = ShownUtf8(tracker_.NameOf(place));
      row.tip = ShownUtf8(set_.TitleOf(place.first));
      row.link = [this, place] { host_.show(place.first, place.second); };
      section.rows.push_back(std::move(row));
    }
  };
  add(tr("Uses"), tracker_.Children(component, slot));
  add(tr("Used by"), tracker_.Parents(component, slot));
  if (!section.rows.empty()) content->sections.push_back(std::move(section));
}

}  // namespace tonalith
