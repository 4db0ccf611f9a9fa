#include <algorithm>
#include <cstring>
#include <functional>

#include "data/container.h"
#include "platform/byte_window.h"
#include "platform/text.h"

namespace tonalith {

namespace {

void PutBe32(std::vector<std::uint8_t>* out, std::uint32_t value) {
  std::uint8_t bytes[4];
  StoreBe32(bytes, value);
  out->insert(out->end(), bytes, bytes + 4);
}

bool IsAllZero(const void* data, std::size_t size) {
  const auto* bytes = static_cast<const std::uint8_t*>(data);
  return std::all_of(bytes, bytes + size, [](std::uint8_t b) { return b == 0; });
}

// Writes the chunks of one record.
class FormWriter {
 public:
  FormWriter(std::vector<std::uint8_t>* out, WriteBuffers buffers) : out_(out), buffers_(buffers) {}

  void Optional(std::uint32_t id, const void* data, std::uint32_t size) {
    if (!data || size == 0) return;
    if (buffers_ == WriteBuffers::kSkipEmpty && IsAllZero(data, size)) return;
    Section(id, data, size);
  }

  // Nothing is added to what is larger than a file may be already.
  void Section(std::uint32_t id, const void* data, std::uint32_t size) {
    if (out_->size() + size <= kMaxContainerSize) {
      WriteFormSection(out_, id, data, size);
    } else {
      fits_ = false;
    }
  }
  bool fits() const { return fits_; }

  void Descriptor(const DataFile& df) {
    Synth copy{};
    std::memcpy(&copy, df.synth, std::min(df.synthSize, kSynthSize));
    FlipSynth(&copy, kSynthSize);
    Section(ChunkId("SHDR"), &copy, sizeof copy);
  }

  void Xtra(const DataFile& df) {
    if (!df.xtra || df.xtraSize == 0) return;
    DFXtra copy{};
    std::memcpy(&copy, df.xtra, std::min(df.xtraSize, kXtraSize));
    // The reader makes and marks a missing record, so one that holds only the mark need not be kept.
    DFXtra unmarked = copy;
    unmarked.isNewRecord = 0;
    if (buffers_ == WriteBuffers::kSkipEmpty && IsAllZero(&unmarked, sizeof unmarked)) return;
    FlipDFXtra(&copy, kXtraSize);
    Section(ChunkId("XTRA"), &copy, sizeof copy);
  }

  void Reference(const DataFile& df) {
    if (!df.isReference) return;
    std::uint8_t bank[2];
    StoreBe16(bank, df.refBankNumber);
    Section(ChunkId("XBNK"), bank, sizeof bank);
    Text(ChunkId("XFIL"), df.refFileName);
    Text(ChunkId("XDIR"), df.refDirectory);
  }

 private:
  void Text(std::uint32_t id, const char (&text)[256]) {
    char padded[258] = {};
    const std::size_t n = strnlen(text, sizeof text - 1);
    std::memcpy(padded, text, n);
    Section(id, padded, IFFSize(padded));
  }

  std::vector<std::uint8_t>* out_;
  WriteBuffers buffers_;
  bool fits_ = true;
};

void WriteBuffersOf(FormWriter* w, const DataFile& df) {
  w->Optional(ChunkId("COMM"), df.comment, df.commentSize);
  w->Optional(ChunkId("FIND"), df.findText, df.findTextSize);
  w->Optional(ChunkId("FILE"), df.fileName, df.fileNameSize);
  w->Optional(ChunkId("TRAN"), df.transmitScript, df.transmitScriptSize);
  w->Optional(ChunkId("RECV"), df.receiveScript, df.receiveScriptSize);
  w->Optional(ChunkId("AUDI"), df.auditionScript, df.auditionScriptSize);
  w->Optional(ChunkId("BDEF"), df.emptyMap, df.emptyMapSize);
  w->Optional(ChunkId("TDEF"), df.tagMap, df.tagMapSize);
  w->Optional(ChunkId("AUTH"), df.authors, df.authorsSize);
  w->Optional(ChunkId("CPRT"), df.rightsNotices, df.rightsNoticesSize);
  w->Optional(ChunkId("SONG"), df.songs, df.songsSize);
  w->Optional(ChunkId("MSCN"), df.musicians, df.musiciansSize);
  w->Optional(ChunkId("BAND"), df.bands, df.bandsSize);
  w->Optional(ChunkId("LNAM"), df.longNames, df.longNamesSize);
  w->Optional(ChunkId("MPIN"), df.midiInPortName, df.midiInPortNameSize);
  w->Optional(ChunkId("MPOT"), df.midiOutPortName, df.midiOutPortNameSize);
  w->Optional(ChunkId("MPBY"), df.patchBayPortName, df.patchBayPortNameSize);
}

// Appends identifier and type; returns where the length stands.
std::size_t BeginGroup(std::vector<std::uint8_t>* out, std::uint32_t id, std::uint32_t type) {
  PutBe32(out, id);
  PutBe32(out, 0);
  PutBe32(out, type);
  return out->size() - 8;
}

bool EndGroup(std::vector<std::uint8_t>* out, std::size_t lengthAt) {
  const std::uint64_t length = out->size() - lengthAt - 4;
  if (out->size() > kMaxContainerSize) return false;
  StoreBe32(out->data() + lengthAt, static_cast<std::uint32_t>(length));
  return true;
}

}  // namespace

void WriteFormSection(std::vector<std::uint8_t>* out, std::uint32_t id, const void* data, std::size_t n) {
  PutBe32(out, id);
  PutBe32(out, static_cast<std::uint32_t>(n + (n & 1)));
  const auto* bytes = static_cast<const std::uint8_t*>(data);
  out->insert(out->end(), bytes, bytes + n);
  if (n & 1) out->push_back(0);
}

bool DiskWriteForm(std::vector<std::uint8_t>* out, const DataFile& df, WriteBuffers buffers, std::uint32_t formId,
                   std::uint32_t formType) {
  if (!df.synth) return false;
  const std::size_t lengthAt = BeginGroup(out, formId, formType);
  FormWriter writer(out, buffers);
  writer.Descriptor(df);
  writer.Optional(ChunkId("NAME"), df.voiceNames, df.voiceNamesSize);
  if (df.body && df.bodySize > 0) writer.Section(ChunkId("BODY"), df.body, df.bodySize);
  writer.Xtra(df);
  WriteBuffersOf(&writer, df);
  if (!IsAllZero(df.chunkModes, sizeof df.chunkModes)) {
    writer.Section(ChunkId("CHNL"), df.chunkModes, sizeof df.chunkModes);
  }
  writer.Reference(df);
  return writer.fits() && EndGroup(out, lengthAt);
}

bool KeepsFileName(const DataFile& df) {
  return df.fileName && df.fileNameSize >= kFileNameSize && (df.fileNameSize & 1) == 0;
}

bool DiskWriteFormAs(std::vector<std::uint8_t>* out, const DataFile& df, std::string_view fileName) {
  DataFile copy = df;  // of the pointers alone
  std::vector<char> name(KeepsFileName(df) ? df.fileNameSize : kFileNameSize);
  const std::string_view cut = CutUtf8(fileName, kFileNameSize - 1);
  std::copy(cut.begin(), cut.end(), name.begin());
  copy.fileName = name.data();
  copy.fileNameSize = static_cast<std::uint32_t>(name.size());
  return DiskWriteForm(out, copy);
}

void SetFileName(DataFile* df, std::string_view fileName) {
  if (!KeepsFileName(*df)) FreeChunk(df->fileName, df->fileNameSize);
  if (!df->fileName && !AllocChunk(&df->fileName, &df->fileNameSize, kFileNameSize)) return;
  const std::string_view cut = CutUtf8(fileName, kFileNameSize - 1);
  std::memmove(df->fileName, cut.data(), cut.size());
  std::memset(df->fileName + cut.size(), 0, df->fileNameSize - cut.size());
}

namespace {

// Writes the parts of a list in their order; `write` writes the member of a number.
bool WriteListParts(std::vector<std::uint8_t>* out, const ListFile& list, std::size_t members,
                    const std::function<bool(std::size_t)>& write) {
  const std::size_t lengthAt = BeginGroup(out, ChunkId("LIST"), list.type);
  if (list.header && !DiskWriteForm(out, *list.header, WriteBuffers::kSkipEmpty, ChunkId("PROP"))) return false;
  auto unread = list.unread.begin();
  for (std::size_t i = 0; i <= members; ++i) {
    for (; unread != list.unread.end() && (unread->place <= i || i == members); ++unread)
      out->insert(out->end(), unread->bytes.begin(), unread->bytes.end());
    if (i < members && !write(i)) return false;
  }
  if (!list.info.empty()) WriteFormSection(out, ChunkId("INFO"), list.info.data(), list.info.size());
  return EndGroup(out, lengthAt);
}

}  // namespace

bool WriteList(std::vector<std::uint8_t>* out, const ListFile& list) {
  return WriteListParts(out, list, list.members.size(), [&](std::size_t i) {
    const ListMember& member = list.members[i];
    if (member.data && !DiskWriteForm(out, *member.data)) return false;
    return !member.list || WriteList(out, *member.list);
  });
}

bool WriteList(std::vector<std::uint8_t>* out, const ListFile& list, std::span<const DataFile* const> members) {
  return WriteListParts(out, list, members.size(),
                        [&](std::size_t i) { return !members[i] || DiskWriteForm(out, *members[i]); });
}

bool WriteList(std::vector<std::uint8_t>* out, const ListFile& list,
               std::span<const std::vector<std::uint8_t>* const> members) {
  return WriteListParts(out, list, members.size(), [&](std::size_t i) {
    if (out->size() + members[i]->size() > kMaxContainerSize) return false;
    out->insert(out->end(), members[i]->begin(), members[i]->end());
    return true;
  });
}

}  // namespace tonalith
