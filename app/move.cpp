#include "app/move.h"

#include "ui/document_window.h"

namespace tonalith {

Message RequestMessage(WindowRequest request) {
  Message message;
  message.kind = static_cast<std::uint8_t>(request);
  return message;
}

Message MoveMessage(const MovesOnOffer& moves, std::uint64_t number) {
  Message message;
  const MoveOffer* offer = moves.Find(number);
  if (!offer) return message;
  const bool list = offer->types.size() > 1;
  message = RequestMessage(list ? WindowRequest::MoveList : WindowRequest::Move);
  if (offer->flags.fromSet) message.flags |= kMessageFromSet;
  if (offer->flags.noKeywords) message.flags |= kMessageNoKeywords;
  if (offer->flags.fromPluginClient) message.flags |= kMessageFromPluginClient;
  message.action = static_cast<std::uint8_t>(offer->action);
  message.destination = offer->destination;
  message.sourceEntry = offer->source.entry;
  message.sourceDocument = offer->source.document;
  message.sourceWindow = static_cast<std::int32_t>(offer->source.window);
  message.p1 = number;
  return message;
}

std::int64_t SendMessage(ZKWindow& window, MovesOnOffer& moves, Message& message) {
  message.result = 0;
  auto* shown = qobject_cast<DocumentWindow*>(&window);
  switch (static_cast<WindowRequest>(message.kind)) {
    case WindowRequest::WindowType:
      message.result = static_cast<std::int64_t>(window.TypeCode());
      break;
    case WindowRequest::TakesNoMoves:
      message.result = !shown || !shown->document().ReadOnlyReason().empty();
      break;
    case WindowRequest::Move:
    case WindowRequest::MoveList:
      if (shown && message.action <= static_cast<std::uint8_t>(MoveAction::Insert))
        message.result =
            moves.Take(message.p1, *shown, static_cast<MoveAction>(message.action), message.destination).taken();
      break;
  }
  return message.result;
}

}  // namespace tonalith
