// Patch names for people: text, tables, and the program's own INI form.  UTF-8, lines ending in "\n".
#pragma once

#include <string>
#include <vector>

#include "store/names/name_banks.h"

namespace tonalith {

// The names alone, one a line.
std::string DiskMidiBankNames(const BankSelectNames& names);
// "NUMBER<tab>NAME" a line; several banks have their name above them and a blank line between.
std::string DiskMidiWriteAscii(const BankSelectNames& names);
// A table of number and name for every bank.
std::string DiskMidiBankNamesHTML(const BankSelectNames& names);
// Section "Bank" ("Bank 2" ...) with Count and a name for every program number.
std::string DiskMidiTonalithBankNames(const BankSelectNames& names);

// With what is kept beside a patch: number, name, comment, keywords and the six tags; tab separated with a head line,
// or as a table.  Line ends and tabs inside texts are blanks there.
// `oneList`: single patches of one type, numbered in their order from 1 below one head.
std::string DiskMidiBankNamesAndProperties(const std::vector<const DataFile*>& data, bool oneList = false);
std::string DiskMidiBankNamesAndPropertiesHTML(const std::vector<const DataFile*>& data, bool oneList = false);

}  // namespace tonalith
