#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "editor/model/control_schema.h"
#include "parameters/parameter_table.h"

namespace tonalith {

// How a control of a panel is bound to a parameter: reading, writing, sending.

// What the bindings of a panel share.
struct PanelData {
  std::uint32_t headerSize = 0;
  char device = 0;   // the variable of messages that stands for the device number; 0: none
  int sumKind = -1;  // of `sum` in messages; -1: not known
};

// A binding ("CMMN") of a parameter.  Values count as they are stored without sign of an offset: what is shown is the
// value minus the parameter's bias.  Places in several bytes are read and written by macros; the message that changes
// the parameter is a macro too, and without one the whole patch is sent.  A parameter with a condition reads as
// kNotThere where that does not hold, and is neither stored nor sent there.
TemplateValues BindParameter(const Parameter& parameter, const ParameterTable& table, const PanelData& data);
// A binding that reads nothing and never writes.
TemplateValues NoBinding();

// The text of the macros; "" when there is none.  The condition may be null.
std::string RetrieveMacroText(const FieldPlace& place, const PanelData& data, const ParameterCondition* condition);
std::string StoreMacroText(const FieldPlace& place, const PanelData& data, const ParameterCondition* condition);
// Of a message of hexadecimal bytes, the device, `number`, `offset`, `value`, `value high`, `value low`, `number high`
// and `number low`; "" for any other.
std::string TransmitMacroText(const Parameter& parameter, const std::string& change, const PanelData& data,
                              const ParameterCondition* condition);

// The messages of a change, what they carry left open.
struct ChangeShape {
  std::string message;               // empty: they cannot be said
  std::vector<std::uint32_t> bytes;  // of the patch that they carry

  // One message cannot change both parameters, unless it carries the bytes of
  // both.
  bool Confuses(const ChangeShape& other) const {
    return !message.empty() && message == other.message && (bytes.empty() || bytes != other.bytes);
  }
};
ChangeShape ShapeOfChange(const Parameter& parameter, const std::string& change, const PanelData& data);

}  // namespace tonalith
