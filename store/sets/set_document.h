#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "data/container.h"
#include "data/data_records.h"
#include "document/document.h"
#include "document/history_target.h"
#include "platform/result.h"
#include "store/entry_state.h"
#include "store/sets/set_unsent.h"

namespace tonalith {

// A Set: what one instrument (or several) holds, as a component for each of its data types, in one file.
//
// A component may be a link: what it holds then is in a data file of its own, and the Set's file has only its
// descriptor and the path.  A link whose file is missing stays a link; the component holds nothing until the file is
// there again.  Parts of a Set's file that could not be read are written again as they were.
//
// Works without a window; used on the user-interface thread only.  Components are counted from 0.
class ZKGrpDoc : public Document, private HistoryTarget {
 public:
  ZKGrpDoc();

  std::string Title() const override { return GetSetName(); }
  FileKind Kind() const override { return FileKind::Set; }
  WindowType Window() const override { return WindowType::Set; }
  bool IsEmpty() const override { return components_.empty(); }

  // "Yamaha DX7 Set", with " (2)" before " Set" for the second instrument of that name; "Empty Set".  UTF-8.
  std::string GetSetName() const;

  // --- As a part of another document's file: that document keeps it

  // As a file of its own would be; the document must not be busy.
  Result MakePart(std::vector<std::uint8_t>* bytes) { return WriteBytes({}, bytes); }
  // Replaces the content and forgets the history.  Links are looked for in `folder`, too; empty: nowhere else.
  Result TakePart(std::span<const std::uint8_t> bytes, const std::string& folder);

  // --- Components

  int GetDataFileCount() const { return static_cast<int>(components_.size()); }
  bool Has(int component) const { return component >= 0 && component < GetDataFileCount(); }
  // What the component holds: the data of the linked file, else its own.  Belongs to the document; its own stays the
  // same object for the document's life.  Null: there is no such component.
  DataFile* GetDataFile(int component) const;
  // The first component of that data type; -1: none.
  int GetIndexForID(int driverId) const;
  // Whether the data belongs to one of the components.
  bool VerifyDataFile(const DataFile* data) const;
  EntryState StateOf(int component) const;
  // False without components; else whether one of them is defined.
  bool IsOneOrMoreDefined() const;
  // "Yamaha DX7 Voice Bank", UTF-8.
  std::string TitleOf(int component) const;
  std::string TypeName(int component) const;  // "Voice Bank", UTF-8
  // Bytes of SysEx that it holds; 0: none.
  std::uint32_t SysExBytes(int component) const;
  // Whether the component is not as the file of the Set has it; false without a file.
  bool IsChanged(int component) const;
  // Maker and model of its instrument, with " (2)" for the second of that name; UTF-8.
  std::string InstrumentOf(int component) const;
  // How many instruments the components are of.
  int InstrumentCount() const;
  // Parts of the file that are kept but could not be read.
  int UnreadParts() const { return skipped_; }

  // --- Changes.  Each is one entry of the history.

  // Appends components; forgets the history.
  void AddDataFiles(std::vector<DataFilePtr> data);
  // The component holds what `data` (of its type) does; it stays the component of its instrument, as active as it was.
  Result PutData(int component, DataFilePtr data);
  Result SetActive(int component, bool active);
  // Changes that are made inside are one entry of the history.
  void ChangeTogether(const std::string& name, const std::function<void()>& changes);
  // What an editor has made of the component, as an entry called `name`; none when it is the same as before.
  Result EditData(int component, const DataFile& data, const std::string& name);
  // The component holds what new data begins with, and is active.  A bank that is received patch by patch has none yet.
  Result Initialize(int component);
  // The component holds nothing any more.  `fresh`: what new data of its type begins with; null: as it is.
  Result ClearData(int component, const DataFile* fresh);
  // What the component holds as data of its own, on its way out of the Set.
  Result TakeData(int component, DataFilePtr* data) const;

  // --- Links

  // Reads the file of a link that is no file of this program.  `wanted`: a record of the type that is looked for.
  using LinkReader =
      std::function<Result(const std::string& path, const DataFile& wanted, std::vector<DataFilePtr>* data)>;
  void SetLinkReader(LinkReader reader) { linkReader_ = std::move(reader); }
  // The component becomes a link to a file that holds data of its type.
  Result SetLink(int component, const std::string& path);
  // The path of the link: of the file that was found, else as it is kept.  Empty: it is no link.
  std::string LinkPath(int component) const;
  // Why the file of a link gave nothing; empty: it did, or there is no link.
  const std::string& LinkProblem(int component) const;
  bool IsResolvable() const;
  // What the links stand for becomes data of the components.  Those whose file gave nothing stay links: `left`.
  Result ResolveLinks(std::vector<int>* left);

  // --- Transfers into components.  The document is busy from Begin to End; what changed is one entry of the history.

  void BeginReceive(const std::vector<int>& components, const std::string& description = "Get Set");
  // Of this component nothing more comes.  `whole`: all of it came.
  void Arrived(int component, bool whole);
  // What changed came from the instruments; of `whole` all did.
  bool EndReceive(const std::vector<int>& whole = {});

  // --- What the instruments hold

  const SetUnsent& unsent() const { return unsent_; }
  // The instruments have taken all of the components.
  void WereSent(const std::vector<int>& components);
  // Some patches (one value each), as they were at `sounds`.
  void WereSent(int component, const std::vector<std::uint8_t>& patches, const std::vector<std::uint64_t>& sounds);
  // An instrument holds `held`: for every component of that type and instrument.
  void InstrumentHolds(const DataFile& held);
  // As an editor of the component knows it.
  void TakeHeldSounds(int component, const std::vector<std::uint64_t>& sounds);

 protected:
  Result WriteBytes(const std::string& path, std::vector<std::uint8_t>* bytes) override;
  Result ReadBytes(std::span<const std::uint8_t> bytes, const std::string& path) override;
  void FileWritten(const std::string& path) override;

 private:
  struct Component {
    DataFilePtr data;
    DataFilePtr linked;       // what the file of the link holds; null: nothing
    std::string linkKept;     // the link that was looked for last, as the record has it
    std::string linkFound;    // its file
    std::string linkProblem;  // why there is nothing
    bool receiving = false;
    std::uint64_t inFile = 0;  // what it was like when file and Set were the same
    mutable std::optional<std::uint64_t> now;
  };

  std::vector<BufferId> HistoryBuffers() const override;
  std::span<std::uint8_t> HistoryBytes(BufferId id) override;
  bool ResizeHistoryBuffer(BufferId id, std::size_t size) override;
  void HistoryApplied() override { RefreshLinks(); }

  // Why a component cannot be changed; success: it can.
  Result Changeable(int component) const;
  void TakeContent(int component, DataFilePtr data);
  void RefreshLinks(bool again = false);
  void ForgetPrints(const DocumentChange& change);
  void FileHoldsAll();
  void FindLink(Component* component) const;
  Result ReadLink(const std::string& path, const DataFile& wanted, DataFilePtr* data) const;

  std::vector<Component> components_;
  ListFile frame_;  // the file without its components
  int skipped_ = 0;
  LinkReader linkReader_;
  SetUnsent unsent_{*this};
  std::string folder_;  // where links are looked for that are not where they were; empty: nowhere
};

// Whether both hold the same: bytes, names, texts, and what of it is there.  Ports, links and instruments do not count.
bool SameContent(const DataFile& a, const DataFile& b);

// "The Yamaha DX7 Voice is needed here, not ..."; empty: the data is of the type.
std::string OtherTypeSentence(const DataFile& component, const DataFile& data);

}  // namespace tonalith
