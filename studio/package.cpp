#include "studio/package.h"

#include <zlib.h>

#include <algorithm>
#include <cstring>
#include <set>

#include "platform/atomic_file.h"
#include "platform/byte_window.h"
#include "platform/path_resolver.h"
#include "platform/sha256.h"
#include "platform/text.h"

namespace tonalith {

namespace {

constexpr std::uint8_t kPackageMagic[4] = {'P', 'V', 'Z', ' '};
constexpr std::size_t kPackageHeader = 8;
constexpr std::size_t kMaxPackageName = 255;

Result PackageFailure(const char* title, const std::string& detail) {
  return Result::Failure(std::string(title) + ": " + detail, kPackageFault);
}

// Names of entries are bytes from anywhere; messages show them as text of one line.
std::string PrintablePath(const std::string& path) {
  std::string text = IsValidUtf8(path) ? path : Cp1252ToUtf8(path);
  for (char& c : text) {
    if (static_cast<unsigned char>(c) < 32 || c == 127) c = '?';
  }
  return text;
}

bool Deflate(const std::vector<std::uint8_t>& in, std::vector<std::uint8_t>* out) {
  z_stream stream{};
  if (deflateInit2(&stream, Z_DEFAULT_COMPRESSION, Z_DEFLATED, 15 + 16, 8, Z_DEFAULT_STRATEGY) != Z_OK) return false;
  out->resize(deflateBound(&stream, static_cast<uLong>(in.size())) + 32);
  stream.next_in = const_cast<Bytef*>(in.data());
  stream.avail_in = static_cast<uInt>(in.size());
  stream.next_out = out->data();
  stream.avail_out = static_cast<uInt>(out->size());
  const int code = deflate(&stream, Z_FINISH);
  out->resize(stream.total_out);
  deflateEnd(&stream);
  return code == Z_STREAM_END;
}

enum class InflateEnd { Done, Damaged, TooLarge };

// One or more gzip members, one behind the other.
InflateEnd Inflate(std::span<const std::uint8_t> in, std::uint64_t limit, std::uint64_t ratio,
                   std::vector<std::uint8_t>* out) {
  z_stream stream{};
  if (inflateInit2(&stream, 15 + 16) != Z_OK) return InflateEnd::Damaged;
  stream.next_in = const_cast<Bytef*>(in.data());
  stream.avail_in = static_cast<uInt>(in.size());
  std::uint8_t block[16384];
  InflateEnd end = InflateEnd::Damaged;
  for (;;) {
    stream.next_out = block;
    stream.avail_out = sizeof block;
    const int code = inflate(&stream, Z_NO_FLUSH);
    const std::size_t made = sizeof block - stream.avail_out;
    if (out->size() + made > limit ||
        (out->size() + made > (1u << 20) && (out->size() + made) / std::max<std::size_t>(in.size(), 1) > ratio)) {
      end = InflateEnd::TooLarge;
      break;
    }
    out->insert(out->end(), block, block + made);
    if (code == Z_STREAM_END) {
      if (stream.avail_in == 0) {
        end = InflateEnd::Done;
        break;
      }
      if (inflateReset(&stream) != Z_OK) break;
      continue;
    }
    if (code != Z_OK || (made == 0 && stream.avail_in == 0)) break;
  }
  inflateEnd(&stream);
  return end;
}

}  // namespace

bool IsSafePackagePath(const std::string& path) {
  if (path.empty() || path.size() > kMaxPackageName) return false;
  if (path.front() == '/' || path.front() == '\\' || path.back() == '/' || path.back() == '\\') return false;
  std::string part;
  for (const char c : path + "\\") {
    if (static_cast<unsigned char>(c) < 32 || c == 127 || c == ':') return false;
    if (c != '\\' && c != '/') {
      part += c;
      continue;
    }
    if (part.empty() || part.back() == '.' || part.back() == ' ') return false;
    part.clear();
  }
  return true;
}

Result PackFiles(const PackageFiles& files, std::vector<std::uint8_t>* package) {
  std::vector<std::uint8_t> out(kPackageMagic, kPackageMagic + 4);
  std::set<std::string> names;
  out.resize(kPackageHeader);
  StoreLe32(out.data() + 4, static_cast<std::uint32_t>(files.size()));
  for (const PackageFile& file : files) {
    const std::string path = ReplaceAll(file.path, "/", "\\");
    if (!IsSafePackagePath(path)) return Result::Failure("A package cannot hold a file named \"" + path + "\".");
    if (!names.insert(AsciiLower(path)).second) return Result::Failure("The file \"" + path + "\" is there twice.");
    if (file.bytes.size() > PackageLimits{}.oneFile)
      return Result::Failure("The file \"" + path + "\" is too large for a package.");
    std::vector<std::uint8_t> packed;
    if (!Deflate(file.bytes, &packed)) return Result::Failure("The file \"" + path + "\" cannot be packed.");
    out.push_back(static_cast<std::uint8_t>(path.size()));
    out.insert(out.end(), path.begin(), path.end());
    std::uint8_t length[4];
    StoreLe32(length, static_cast<std::uint32_t>(packed.size()));
    out.insert(out.end(), length, length + 4);
    out.insert(out.end(), packed.begin(), packed.end());
  }
  *package = std::move(out);
  return Result::Success();
}

// The next entry of a package, its bytes still packed.
struct PackedEntry {
  std::string path;
  std::span<const std::uint8_t> bytes;
};

static Result NextEntry(std::span<const std::uint8_t> package, std::uint32_t number, std::size_t* at,
                        PackedEntry* entry) {
  const std::string which = "entry " + std::to_string(number);
  if (package.size() - *at < 1) return PackageFailure(kPackageReadError, "the package ends before " + which + ".");
  const std::size_t nameLength = package[*at];
  if (package.size() - *at < 1 + nameLength + 4)
    return PackageFailure(kPackageReadError, "the package ends inside the name of " + which + ".");
  const std::string path(reinterpret_cast<const char*>(package.data()) + *at + 1, nameLength);
  entry->path = ReplaceAll(path, "/", "\\");
  const std::uint32_t length = LoadLe32(package.data() + *at + 1 + nameLength);
  *at += 1 + nameLength + 4;
  if (!IsSafePackagePath(entry->path))
    return PackageFailure(kPackageOpenError,
                          PrintablePath(entry->path) + "\nThe name of " + which + " is not allowed in a package.");
  if (length > package.size() - *at)
    return PackageFailure(kPackageReadError, "the package ends inside \"" + PrintablePath(entry->path) + "\".");
  entry->bytes = package.subspan(*at, length);
  *at += length;
  return Result::Success();
}

Result UnpackEach(std::span<const std::uint8_t> package, const PackageSink& sink, const PackageLimits& limits) {
  if (package.size() < 4 || std::memcmp(package.data(), kPackageMagic, 4) != 0)
    return Result::Failure(kPackageHeaderError, kPackageFault);
  if (package.size() < kPackageHeader) return PackageFailure(kPackageReadError, "the package ends inside its header.");
  const std::uint32_t count = LoadLe32(package.data() + 4);
  if (count > limits.files) return PackageFailure(kPackageReadError, "the package claims to hold too many files.");
  std::set<std::string> names;
  std::uint64_t total = 0;
  std::size_t at = kPackageHeader;
  std::vector<std::uint8_t> bytes;
  for (std::uint32_t i = 0; i < count; ++i) {
    PackedEntry entry;
    if (Result next = NextEntry(package, i + 1, &at, &entry); !next.ok()) return next;
    const std::string shown = "\"" + PrintablePath(entry.path) + "\"";
    if (!names.insert(AsciiLower(entry.path)).second)
      return PackageFailure(kPackageReadError, shown + " is there twice.");
    bytes.clear();
    switch (Inflate(entry.bytes, std::min(limits.oneFile, limits.total - total), limits.ratio, &bytes)) {
      case InflateEnd::Damaged:
        return PackageFailure(kPackageReadError, shown + " is damaged.");
      case InflateEnd::TooLarge:
        return PackageFailure(kPackageReadError, shown + " would become too large.");
      case InflateEnd::Done:
        break;
    }
    total += bytes.size();
    if (Result taken = sink(entry.path, bytes); !taken.ok()) return taken;
  }
  return Result::Success();
}

Result UnpackFiles(std::span<const std::uint8_t> package, PackageFiles* files, const PackageLimits& limits) {
  files->clear();
  PackageFiles found;
  const Result result = UnpackEach(
      package,
      [&found](const std::string& path, std::span<const std::uint8_t> bytes) {
        found.push_back({path, {bytes.begin(), bytes.end()}});
        return Result::Success();
      },
      limits);
  if (result.ok()) *files = std::move(found);
  return result;
}

MessagePrompt PackageMessage(const Result& failure) {
  MessagePrompt prompt;
  prompt.icon = PromptIcon::Error;
  prompt.title = "Install Instrument Module";
  prompt.text = failure.text;
  if (failure.code != kPackageFault) return prompt;
  if (const std::size_t colon = failure.text.find(": "); colon != std::string::npos) {
    prompt.title = failure.text.substr(0, colon);
    prompt.text = failure.text.substr(colon + 2);
  }
  return prompt;
}

Result WritePackage(const PackageFiles& files, const std::filesystem::path& package) {
  std::vector<std::uint8_t> bytes;
  const Result packed = PackFiles(files, &bytes);
  if (!packed.ok()) return packed;
  const Result folder = MakeFolders(FolderOf(package.string()));
  if (!folder.ok()) return folder;
  return WriteFileAtomically(package.string(), std::span<const std::uint8_t>(bytes));
}

PackageData PackageData::Of(std::string fileName, std::vector<std::uint8_t> bytes) {
  PackageData data{std::move(fileName), std::move(bytes), {}};
  data.sha256 = Sha256Hex(data.bytes);
  return data;
}

Result LoadPackage(const std::filesystem::path& package, PackageData* data) {
  *data = {};
  std::vector<std::uint8_t> bytes;
  const Result read = ReadWholeFile(package.string(), bytes);
  if (!read.ok()) return read.code == kFileNotRegular ? read : PackageFailure(kPackageOpenError, package.string());
  *data = PackageData::Of(package.filename().string(), std::move(bytes));
  return Result::Success();
}

Result ReadPackage(const std::filesystem::path& package, PackageFiles* files, const PackageLimits& limits) {
  files->clear();
  PackageData data;
  const Result read = LoadPackage(package, &data);
  return read.ok() ? UnpackFiles(data.bytes, files, limits) : read;
}

}  // namespace tonalith
