#include "simulator/virtual_studio.h"

namespace tonalith {

VirtualStudio::VirtualStudio(VirtualBackend& backend, Options options) : backend_(backend), options_(options) {}

VirtualStudio::~VirtualStudio() {
  for (const auto& cable : cables_) {
    cable->endpoint->SetReceiver({});
    backend_.RemoveEndpoint(cable->endpoint);
  }
}

std::size_t VirtualStudio::Connect(std::shared_ptr<Cable> cable, const std::string& portName) {
  VirtualCableOptions options;
  options.bytesPerSecond = options_.bytesPerSecond;
  cable->endpoint = backend_.CreateEndpoint(portName, options);
  // The receiver is taken off before the cable record goes, so the plain pointer is safe.
  cable->endpoint->SetReceiver(
      [raw = cable.get()](std::span<const std::uint8_t> bytes, std::int64_t timeUs) { OnBytes(*raw, bytes, timeUs); });
  cables_.push_back(std::move(cable));
  return cables_.size() - 1;
}

std::size_t VirtualStudio::Attach(std::unique_ptr<SimulatedInstrument> instrument, const std::string& portName) {
  auto cable = std::make_shared<Cable>();
  const std::string name = portName.empty() ? instrument->description().portName : portName;
  cable->key = instrument->description().key;
  cable->instrument = std::move(instrument);
  cable->instrument->SetWireRate(options_.bytesPerSecond);
  return Connect(std::move(cable), name);
}

bool VirtualStudio::AttachAll(MadeInstruments made, std::string* problem) {
  for (auto& instrument : made.instruments) Attach(std::move(instrument));
  if (made.problem.empty()) return true;
  if (problem != nullptr) *problem = std::move(made.problem);
  return false;
}

std::size_t VirtualStudio::AttachConversation(Conversation conversation, const std::string& portName) {
  auto cable = std::make_shared<Cable>();
  cable->talk = std::make_unique<ConversationPlayer>(std::move(conversation));
  return Connect(std::move(cable), portName);
}

void VirtualStudio::BeginTalk(std::size_t place) {
  if (place >= cables_.size() || !cables_[place]->talk) return;
  Cable& cable = *cables_[place];
  const std::lock_guard lock(cable.mutex);
  SendReplies(cable, cable.talk->Start());
}

std::string VirtualStudio::TalkVerdict(std::size_t place) {
  if (place >= cables_.size() || !cables_[place]->talk) return {};
  const std::lock_guard lock(cables_[place]->mutex);
  return cables_[place]->talk->Verdict();
}

void VirtualStudio::SendReplies(Cable& cable, const std::vector<Reply>& replies) {
  if (!cable.endpoint->plugged()) return;
  VirtualEndpoint& way = cable.answersOn ? *cable.answersOn : *cable.endpoint;
  for (const Reply& reply : replies) {
    way.Send(reply.bytes, reply.delayUs);
    cable.queued += reply.bytes.size();
  }
}

void VirtualStudio::OnBytes(Cable& cable, std::span<const std::uint8_t> bytes, std::int64_t timeUs) {
  const std::lock_guard lock(cable.mutex);
  if (cable.talk) return SendReplies(cable, cable.talk->OnBytes(bytes));
  if (!cable.instrument) return;
  const bool was = cable.instrument->vanished();
  SendReplies(cable, cable.instrument->OnBytes(bytes, timeUs));
  if (was || !cable.instrument->vanished()) return;
  // The plug is pulled when what is still on its way has come out.
  const std::uint64_t carried = cable.endpoint->Carried(CableDirection::ToProgram);
  if (cable.queued <= carried) return cable.endpoint->Unplug();
  VirtualFaults faults;
  faults.vanishAfter = static_cast<std::int64_t>(cable.queued - carried);
  cable.endpoint->SetFaults(CableDirection::ToProgram, faults);
}

std::string VirtualStudio::PortName(std::size_t place) const {
  return place < cables_.size() ? cables_[place]->endpoint->name() : std::string();
}

std::size_t VirtualStudio::Find(std::string_view keyOrPort) const {
  for (std::size_t i = 0; i < cables_.size(); ++i)
    if (cables_[i]->key == keyOrPort || cables_[i]->endpoint->name() == keyOrPort) return i;
  return cables_.size();
}

bool VirtualStudio::With(std::size_t place, const std::function<void(SimulatedInstrument&)>& use) {
  if (place >= cables_.size() || !cables_[place]->instrument) return false;
  const std::lock_guard lock(cables_[place]->mutex);
  use(*cables_[place]->instrument);
  return true;
}

void VirtualStudio::SetCableFaults(std::size_t place, const VirtualFaults& faults) {
  if (place < cables_.size()) cables_[place]->endpoint->SetFaults(CableDirection::ToProgram, faults);
}

std::int64_t VirtualStudio::Carried(std::size_t place) const {
  if (place >= cables_.size()) return 0;
  const VirtualEndpoint& end = *cables_[place]->endpoint;
  return static_cast<std::int64_t>(end.Carried(CableDirection::ToProgram) + end.Carried(CableDirection::ToPeer));
}

bool VirtualStudio::PanelSend(std::size_t place, std::string_view message, int item) {
  if (place >= cables_.size() || !cables_[place]->instrument) return false;
  Cable& cable = *cables_[place];
  const std::lock_guard lock(cable.mutex);
  const auto replies = cable.instrument->PanelSend(message, item);
  SendReplies(cable, replies);
  return !replies.empty();
}

bool VirtualStudio::Press(std::size_t place, std::string_view list, std::string* problem) {
  if (place >= cables_.size() || !cables_[place]->instrument) return false;
  Cable& cable = *cables_[place];
  const std::lock_guard lock(cable.mutex);
  std::vector<Reply> replies;
  if (!cable.instrument->Press(list, &replies, problem)) return false;
  SendReplies(cable, replies);
  return true;
}

void VirtualStudio::AnswerOn(std::size_t place, std::size_t otherPlace) {
  if (place >= cables_.size() || otherPlace >= cables_.size()) return;
  const std::lock_guard lock(cables_[place]->mutex);
  cables_[place]->answersOn = cables_[otherPlace]->endpoint;
}

std::size_t VirtualStudio::AttachSilent(const std::string& portName) {
  return Connect(std::make_shared<Cable>(), portName);
}

void VirtualStudio::Unplug(std::size_t place) {
  if (place < cables_.size()) cables_[place]->endpoint->Unplug();
}

void VirtualStudio::PlugIn(std::size_t place) {
  if (place >= cables_.size()) return;
  Cable& cable = *cables_[place];
  {
    const std::lock_guard lock(cable.mutex);
    if (cable.instrument) cable.instrument->PlugInAgain();
    cable.queued = cable.endpoint->Carried(CableDirection::ToProgram);
  }
  cable.endpoint->SetFaults(CableDirection::ToProgram, {});
  cable.endpoint->Plug();
}

}  // namespace tonalith
