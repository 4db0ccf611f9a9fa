#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

#include "platform/cancel_token.h"
#include "platform/message_numbers.h"

namespace tonalith {

// The record by which statements ask an editor or a Set to act: 80 bytes, kind at 0, parameters at 48, 56 and 64,
// result at 72.  The receiver may change any field; the sender owns the record.
struct MacroRequest {
  std::uint8_t command = 0;
  std::uint8_t reserved[47] = {};
  std::int64_t parameter1 = 0;
  std::int64_t parameter2 = 0;
  std::int64_t parameter3 = 0;  // may be the address of the operands: then `ScriptMessage::record` refers to them
  std::int64_t result = 0;
};
static_assert(sizeof(MacroRequest) == 80 && offsetof(MacroRequest, parameter1) == 48 &&
              offsetof(MacroRequest, parameter3) == 64 && offsetof(MacroRequest, result) == 72);

// Number of the message that carries a MacroRequest (wParam 0, lParam the record).
inline constexpr std::uint16_t kMacroRequestMessage = kRequestMessage;
// Messages by which a Set names the window or the document of one of its components (wParam = driver id).
inline constexpr auto kSetComponentWindowMessage = static_cast<std::uint16_t>(SetMessage::ComponentWindow);
inline constexpr auto kSetComponentDocumentMessage = static_cast<std::uint16_t>(SetMessage::ComponentDocument);

enum class ScriptReceiver : std::uint8_t {
  EditorDocument,  // the editor whose script runs
  SetDocument,
  EditorWindow,
  SetWindow,
  MainWindow,
  ComponentWindow,    // `component` of the message: the answer to kSetComponentWindowMessage
  ComponentDocument,  // `component` of the message: the answer to kSetComponentDocumentMessage
};

// A synchronous message.  `record` and `request` live only during the call.
struct ScriptMessage {
  std::uint16_t number = 0;
  std::int64_t wParam = 0;
  std::int64_t lParam = 0;
  std::span<std::int32_t> record;   // the operands when the message carries the address of a record
  MacroRequest* request = nullptr;  // set when number is kMacroRequestMessage
  std::int64_t component = 0;       // for ComponentWindow and ComponentDocument
};

// A posted message: a value that owns what it carries.
struct PostedScriptMessage {
  std::uint16_t number = 0;
  std::int64_t wParam = 0;
  std::int64_t lParam = 0;
  std::optional<std::array<std::int32_t, 5>> record;  // first word, then W, X, Y, Z
};

// Where statements that concern an editor, a Set, their windows or the main window go.  Called on the thread that runs
// the script; implementations bring the call to the user-interface thread and give up (answer 0) when that thread waits
// for the script's thread or `cancel` is set.
class ScriptHost {
 public:
  virtual ~ScriptHost() = default;

  virtual bool Has(ScriptReceiver receiver) const = 0;
  // The receiver's answer.  Only called for receivers that are there (components: named by the Set before).
  virtual std::int64_t Send(ScriptReceiver receiver, const ScriptMessage& message, const CancelToken& cancel) = 0;
  // False when the message could not be queued; it may then be tried again.
  virtual bool Post(ScriptReceiver receiver, const PostedScriptMessage& message) = 0;

  // Whether a component document named by the Set is a patch editor.
  virtual bool IsPatchEditor(std::int64_t component) const { return component != 0; }

  // The event by which an editor announces the end of a test run.
  virtual bool HasTestEvent() const { return false; }
  virtual void ResetTestEvent() {}
  // Waits in slices until the event is signalled, the editor is gone or `cancel` is set.
  virtual void AwaitTestEvent(const CancelToken& cancel) { (void)cancel; }
};

}  // namespace tonalith
