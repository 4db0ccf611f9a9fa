#pragma once

#include <string>
#include <vector>

class QMenu;

namespace tonalith {

// Numbers of the commands in the menu of desktops; the first stands for the folder itself.
inline constexpr int kFirstDesktopCommand = 15000;
inline constexpr int kLastDesktopCommand = 15999;

// The desktop files of a folder, as a tree: files and the folders between them.
class DiskStructure {
 public:
  struct Node {
    int number = 0;  // of its command; 0: a separator
    bool isFolder = false;
    std::string name;
    std::string path;
    std::vector<Node> children;
  };

  // A trailing separator of the folder does not matter.
  DiskStructure(std::string folder, int firstNumber);

  // Looks at the folder again.
  void Build();
  const Node& root() const { return root_; }
  // Null when there is none.
  const Node* FindId(int number) const;
  // A file by its name, without regard to case.
  const Node* FindFile(const std::string& name) const;

 private:
  void Enumerate(Node& folder, int depth);

  int first_;
  int next_ = 0;
  Node root_;
};

// Fills a menu with the nodes of a folder: folders become menus inside it, files entries whose data is their number.
void BuildSubMenu(QMenu* menu, const DiskStructure::Node& folder);

}  // namespace tonalith
