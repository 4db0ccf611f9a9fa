#include "data/not_opened.h"

#include "data/container.h"

namespace tonalith {

std::string NotOpenedSentence(const std::string& path, int code, const std::string& kind) {
  switch (code) {
    case kDiskNoMemory:
      return "The file " + path + " needs more memory than there is, or than a file of its size may take.";
    case kDiskReadError:
      return "The file " + path + " is damaged; what is left of it is too little to be opened.";
    default:
      return "The file " + path + " is not " + kind + ".";
  }
}

}  // namespace tonalith
