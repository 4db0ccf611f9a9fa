#pragma once

#include <QObject>
#include <functional>
#include <string>
#include <vector>

#include "platform/folders.h"
#include "platform/result.h"

class QLocalServer;

namespace tonalith {

// One program for each set of folders: a process that is started later hands its files over to the first one and ends.
// The socket lies in the user's runtime folder, which no other account can enter; another configuration root is another
// program.
class FileHandOver final : public QObject {
  Q_OBJECT

 public:
  explicit FileHandOver(const Folders& folders);

  // To a process that listens.  True: it has taken the files.  One that hangs is waited for two seconds at each step.
  bool Give(const std::vector<std::string>& files) const;
  // From now on `taken` gets the files of other processes.  Success also when another process listens already; a
  // failure says why nobody can hand files over.
  Result Listen(std::function<void(const std::vector<std::string>&)> taken);

 private:
  void Accept();

  std::string folder_;
  std::string name_;
  QLocalServer* server_ = nullptr;
  std::function<void(const std::vector<std::string>&)> taken_;
};

}  // namespace tonalith
