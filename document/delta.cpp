#include "document/delta.h"

#include <algorithm>
#include <cstring>

namespace tonalith {

namespace {

// Runs that lie closer together are one: their note would cost more than the bytes between them.
constexpr std::size_t kGap = 16;

// First offset from `at` on where the bytes differ; `end` when none does.
std::size_t NextDifference(const std::uint8_t* a, const std::uint8_t* b, std::size_t at, std::size_t end) {
  constexpr std::size_t kBlock = 256;
  while (end - at >= kBlock && std::memcmp(a + at, b + at, kBlock) == 0) at += kBlock;
  while (at < end && a[at] == b[at]) ++at;
  return at;
}

void AddRuns(BufferDelta& delta, std::size_t offset, std::span<const std::uint8_t> before,
             std::span<const std::uint8_t> now) {
  const std::size_t end = before.size();
  for (std::size_t start = NextDifference(before.data(), now.data(), 0, end); start < end;) {
    std::size_t stop = start + 1;  // behind the last byte of the run
    std::size_t next = stop;
    for (;;) {
      next = NextDifference(before.data(), now.data(), stop, end);
      if (next == end || next - stop > kGap) break;
      stop = next + 1;
    }
    delta.runs.push_back({offset + start, stop - start});
    delta.before.insert(delta.before.end(), before.data() + start, before.data() + stop);
    delta.after.insert(delta.after.end(), now.data() + start, now.data() + stop);
    start = next;
  }
}

bool ApplyDelta(HistoryTarget& target, const BufferDelta& delta, bool former) {
  const std::size_t size = former ? delta.sizeBefore : delta.sizeAfter;
  const std::vector<std::uint8_t>& source = former ? delta.before : delta.after;
  std::span<std::uint8_t> bytes = target.HistoryBytes(delta.id);
  if (bytes.size() != size) {
    if (!target.ResizeHistoryBuffer(delta.id, size)) return false;
    bytes = target.HistoryBytes(delta.id);
    if (bytes.size() != size) return false;
  }
  std::size_t at = 0;
  for (const BufferDelta::Run& run : delta.runs) {
    std::memcpy(bytes.data() + run.offset, source.data() + at, run.length);
    at += run.length;
  }
  const std::size_t tail = source.size() - at;
  if (tail > 0) std::memcpy(bytes.data() + (size - tail), source.data() + at, tail);
  return true;
}

}  // namespace

std::size_t BufferDelta::MemoryBytes() const {
  return sizeof *this + runs.capacity() * sizeof(Run) + before.capacity() + after.capacity();
}

bool ApplyDeltas(HistoryTarget& target, const std::vector<BufferDelta>& deltas, bool former) {
  for (std::size_t i = 0; i < deltas.size(); ++i) {
    if (ApplyDelta(target, deltas[i], former)) continue;
    while (i-- > 0) ApplyDelta(target, deltas[i], !former);
    return false;
  }
  return true;
}

BeforeImage::Kept& BeforeImage::KeptOf(HistoryTarget& target, BufferId id) {
  const auto [place, isNew] = buffers_.try_emplace(id);
  if (isNew) place->second.size = target.HistoryBytes(id).size();
  return place->second;
}

void BeforeImage::Remember(HistoryTarget& target, BufferId id, std::size_t offset, std::size_t length) {
  Kept& kept = KeptOf(target, id);
  const std::span<const std::uint8_t> bytes = target.HistoryBytes(id);
  const std::size_t size = std::min(bytes.size(), kept.size);
  if (offset < size) Keep(kept, offset, bytes.subspan(offset, std::min(length, size - offset)));
}

void BeforeImage::RememberWhole(HistoryTarget& target, BufferId id) {
  Remember(target, id, 0, target.HistoryBytes(id).size());
}

void BeforeImage::Absorb(const BeforeImage& later) {
  for (const auto& [id, kept] : later.buffers_) {
    const auto [place, isNew] = buffers_.try_emplace(id);
    Kept& own = place->second;
    if (isNew) own.size = kept.size;
    for (const auto& [offset, bytes] : kept.pieces) {
      if (offset < own.size) Keep(own, offset, Bytes(bytes).first(std::min(bytes.size(), own.size - offset)));
    }
  }
}

void BeforeImage::Keep(Kept& kept, std::size_t offset, Bytes bytes) {
  if (bytes.empty()) return;
  const std::size_t end = offset + bytes.size();
  // The first piece that ends at or behind the offset, and behind it the first that begins beyond the end.
  auto first = kept.pieces.upper_bound(offset);
  if (first != kept.pieces.begin()) {
    const auto former = std::prev(first);
    const std::size_t formerEnd = former->first + former->second.size();
    if (formerEnd >= end) return;
    if (formerEnd >= offset) first = former;
  }
  const auto last = kept.pieces.upper_bound(end);
  if (first == last) {
    kept.pieces.emplace_hint(last, offset, std::vector<std::uint8_t>(bytes.begin(), bytes.end()));
    return;
  }
  if (first->first > offset) {
    first = kept.pieces.emplace_hint(first, offset, std::vector<std::uint8_t>());
  }
  // What is kept stays, the gaps are filled.
  std::vector<std::uint8_t>& piece = first->second;
  const auto fill = [&](std::size_t to) {
    const std::size_t from = first->first + piece.size();
    if (to > from) piece.insert(piece.end(), bytes.data() + (from - offset), bytes.data() + (to - offset));
  };
  for (auto next = std::next(first); next != last; next = kept.pieces.erase(next)) {
    fill(next->first);
    piece.insert(piece.end(), next->second.begin(), next->second.end());
  }
  fill(end);
}

BufferDelta BeforeImage::DeltaOf(BufferId id, const Kept& kept, Bytes now) {
  BufferDelta delta;
  delta.id = id;
  delta.sizeBefore = kept.size;
  delta.sizeAfter = now.size();
  const std::size_t common = std::min(kept.size, now.size());
  for (const auto& [offset, bytes] : kept.pieces) {
    if (offset >= common) break;
    const std::size_t length = std::min(bytes.size(), common - offset);
    AddRuns(delta, offset, Bytes(bytes).first(length), now.subspan(offset, length));
  }
  if (kept.size > common) {
    const std::size_t at = delta.before.size();
    delta.before.resize(at + kept.size - common);
    for (const auto& [offset, bytes] : kept.pieces) {
      const std::size_t skip = offset < common ? std::min(common - offset, bytes.size()) : 0;
      if (skip == bytes.size()) continue;
      std::memcpy(delta.before.data() + at + (offset + skip - common), bytes.data() + skip, bytes.size() - skip);
    }
  }
  delta.after.insert(delta.after.end(), now.begin() + static_cast<std::ptrdiff_t>(common), now.end());
  delta.runs.shrink_to_fit();
  delta.before.shrink_to_fit();
  delta.after.shrink_to_fit();
  return delta;
}

bool BeforeImage::Differs(HistoryTarget& target) const {
  for (const auto& [id, kept] : buffers_) {
    const Bytes now = target.HistoryBytes(id);
    if (now.size() != kept.size) return true;
    for (const auto& [offset, bytes] : kept.pieces) {
      if (std::memcmp(bytes.data(), now.data() + offset, bytes.size()) != 0) return true;
    }
  }
  return false;
}

std::vector<BufferDelta> BeforeImage::Deltas(HistoryTarget& target) const {
  std::vector<BufferDelta> deltas;
  for (const auto& [id, kept] : buffers_) {
    BufferDelta delta = DeltaOf(id, kept, target.HistoryBytes(id));
    if (!delta.runs.empty() || delta.sizeBefore != delta.sizeAfter) deltas.push_back(std::move(delta));
  }
  return deltas;
}

}  // namespace tonalith
