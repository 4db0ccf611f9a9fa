#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace tonalith {

class ZKBankDoc;

// Patches that wait for their instrument: each once, in the order they came.
class SyncList {
 public:
  void Add(unsigned patch);
  // The number of every set bit: bit b of byte k is patch 8k + b.
  void AddStateElements(const unsigned char* bits, std::size_t size = 128);
  void Remove(unsigned patch);
  void Clear();

  const std::vector<unsigned>& patches() const { return patches_; }
  bool empty() const { return patches_.empty(); }

 private:
  std::vector<unsigned> patches_;
  std::vector<bool> has_;
};

// What a bank may be part of, beside other data of its instrument.
class BankOwner {
 public:
  virtual ~BankOwner() = default;
  // The owner keeps the bank and its instrument in step.
  virtual bool IsSynchronized(const ZKBankDoc& bank) const = 0;
};

// Who sends for a bank.
class BankSender {
 public:
  virtual ~BankSender() = default;
  // Patches wait: Synchronize(true) is to be called soon, once for several of these.
  virtual void SynchronizeSoon() = 0;
  // One value a patch.  False: the transfer was not accepted.
  virtual bool SendPatches(const std::vector<std::uint8_t>& patches) = 0;
};

// Keeps an instrument in step with a bank that is changed: because its owner does, or because the user wants it of this
// bank alone.
class BankSync {
 public:
  explicit BankSync(const ZKBankDoc& bank) : bank_(bank) {}
  BankSync(const BankSync&) = delete;
  BankSync& operator=(const BankSync&) = delete;

  // Both may be null, and have to outlive the document or be taken away.
  void SetOwner(const BankOwner* owner) { owner_ = owner; }
  void SetSender(BankSender* sender) { sender_ = sender; }

  // The owner's state; false without one.
  bool GetIsSynchronized() const { return owner_ && owner_->IsSynchronized(bank_); }
  bool GetLocalSync() const { return local_; }
  void SetLocalSync() { local_ = true; }
  void ClearLocalSync();
  bool IsOn() const { return local_ || GetIsSynchronized(); }

  // What has changed since the instrument was last in step.
  const SyncList& syncList() const { return list_; }
  // The sound of these patches became another one.
  void Changed(const std::vector<int>& patches);
  // They were sent for Synchronize and did not arrive: they go with the next ones.
  void NotSent(const std::vector<std::uint8_t>& patches);
  void RequestSynchronize();
  // With `send` the waiting patches that hold something, and that the instrument does not hold yet, are sent; when that
  // is not accepted they go on waiting.  Without it, or while this is off, nothing waits any more.
  void Synchronize(bool send);

 private:
  // Those that would be sent now, one value a patch; empty: none.
  std::vector<std::uint8_t> Waiting() const;

  const ZKBankDoc& bank_;
  const BankOwner* owner_ = nullptr;
  BankSender* sender_ = nullptr;
  SyncList list_;
  bool local_ = false;
};

}  // namespace tonalith
