#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "chart/change_message.h"
#include "editor/model/control_schema.h"
#include "parameters/parameter_table.h"

namespace tonalith {

// How a control of a panel is bound to a parameter: reading, writing, sending.

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
// Of a message of hexadecimal bytes, the device, `1p`, `pp`, `20+p`, `number`, `offset`, `value`, `value high`, `value
// low`, `number high` and `number low`; "" for any other.
std::string TransmitMacroText(const Parameter& parameter, const std::string& change, const PanelData& data,
                              const ParameterCondition* condition);

// The same, compiled; "" without a change, or for one that cannot be said.
std::string TransmitMacro(const Parameter& parameter, const ParameterTable& table, const PanelData& data);

}  // namespace tonalith
