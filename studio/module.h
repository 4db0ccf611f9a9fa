#pragma once

#include <cstdint>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "platform/result.h"
#include "studio/package.h"

namespace tonalith {

// The text a module is written in, and how it becomes the files of an instrument module.
//
// A source folder holds
//   module.ini     section [Module]: what the instrument is (keys below); every other section goes as it stands
//                  into the module INI ([Instrument] keys are added to the generated ones)
//   *.descriptor   one data type each, lines `key = value` (docs/modules.md lists the keys)
//   *.script       scripts in the program's language, named by the descriptors
//
// [Module] keys:
//   Name          display name, at most 64 characters: also the name of the INI, the folder and the package
//   ShortName     what goes into Synth::shortName (at most 15 characters), default Name
//   DriverBase    driver id of the first data type; the others follow in the order of Types
//   Version       number, default 1
//   Types         the descriptor names (without ending), in the order of the drivers; NAME(TEXT) gives it `$arg$`
//   Any other key is a default for every descriptor that does not say otherwise.
//
// Descriptor keys: the field names of Synth, and those of docs/modules.md (scripts, includes, text substitution,
// initial image, recognition).
//
// Every error names file and line.

// Source files by name, relative to the source folder.
using ModuleSource = std::map<std::string, std::string>;

// The files of one module, ready to be packed or written into an instrument folder.
struct ModuleImage {
  std::string name;  // base name of the module INI, without ".ini"
  PackageFiles files;
  std::map<int, std::string>
      simulated;  // what the sources say about the simulated instrument, by driver id; not packed
};

// Everything that is wrong with a source, and where what is in it stands.
struct ModuleDiagnostics {
  struct Problem {
    std::string file;
    int line = 0;  // from 1
    std::string text;
  };
  std::vector<Problem> problems;  // in the order in which they were met, each once
  // Place of the line that a key of a data type had last, "FILE:LINE", by driver id and key in lower case; "" is the
  // line of the type's name.
  std::map<int, std::map<std::string, std::string>> places;
};

// Reads the files of a source folder (no sub-folders, at most 1 MiB each), and what it may share: the descriptors and
// scripts of the folder `common` beside it ("../common/NAME") and of the program's own (by their full path).
Result ReadModuleSource(const std::filesystem::path& folder, ModuleSource* out);

// Builds a module.  On failure the sentence reads "FILE:LINE: what is wrong" and `out` is left alone.  With
// `diagnostics` the build goes on behind a mistake and notes them all; the sentence is that of the first one.
Result BuildModule(const ModuleSource& source, ModuleImage* out, ModuleDiagnostics* diagnostics = nullptr);

// ReadModuleSource, BuildModule and WritePackage into `package`.
Result BuildModulePackage(const std::filesystem::path& folder, const std::filesystem::path& package);

}  // namespace tonalith
