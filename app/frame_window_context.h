#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "app/frame_context.h"
#include "services/send_care.h"
#include "ui/patch_player.h"
#include "ui/window_context.h"

namespace tonalith {

class RecentFilesMenu;
class WindowTransfers;

// What the main window gives to the windows of documents.
class FrameWindowContext final : public WindowContext {
 public:
  FrameWindowContext(const FrameContext& frame, RecentFilesMenu& recent, WindowTransfers& transfers);

  Prompts& prompts() override { return frame_.prompts(); }
  Settings& settings() override;
  std::string DataFolder() override;
  std::string SettingsFile() override;
  void InBackground(const Receiver& receiver, std::function<Result()> work,
                    std::function<void(const Result&)> done) override;
  void FileUsed(const std::string& path) override;
  Result Export(const DataFile& data, bool midiFile, const std::string& title, std::vector<std::uint8_t>* bytes,
                std::string* note) override;
  std::filesystem::path ModuleFolder(const DataFile& data) override;
  const DataFile* NewData(const DataFile& data) override;
  BankGrowth GrowthOf(const DataFile& data) override;
  DataFilePtr NewDataOf(int driverId, const DataFile& like) override;
  Result DataIn(std::span<const std::uint8_t> bytes, std::vector<DataFilePtr>* data) override;
  void ShowData(DataFilePtr data, const std::string& originName) override;
  // Who opens windows on data; to be said once.
  void SetShowData(std::function<void(DataFilePtr data, const std::string& originName)> show) {
    show_ = std::move(show);
  }
  void ShowSettings(const DataFile& data) override { showSettings_(data); }
  // Who shows the settings of instruments; to be said once.
  void SetShowSettings(std::function<void(const DataFile& data)> show) { showSettings_ = std::move(show); }
  void UpdateFromStudio(DataFile* dataFile) override;
  TransferDesk::Job Transfer(DeskRequest request) override;
  SendCare& sendCare() override { return sendCare_; }
  PatchPlayer& player() override;
  void CancelTransfer(const TransferDesk::Job& job) override;
  void AbandonTransfers(const DataFile* dataFile) override;

 private:
  FrameContext frame_;
  RecentFilesMenu& recent_;
  WindowTransfers& transfers_;
  SendCare sendCare_;
  std::unique_ptr<PatchPlayer> player_;  // made when it is first asked for
  std::function<void(DataFilePtr data, const std::string& originName)> show_;
  std::function<void(const DataFile& data)> showSettings_;
};

}  // namespace tonalith
