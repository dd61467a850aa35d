#pragma once

// The spine of the module without its windows: the start-up from the command
// line, the settings paths, the language module, the import folder, the
// meter's names and remembered port (`Action`) and the end (`iFinished`).
// The windows of the module and meterimport-batch both drive it.

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "common/language.h"
#include "common/settings_store.h"
#include "shell/command_line.h"
#include "shell/host_context.h"
#include "shell/status_channel.h"

namespace mi {

inline constexpr const char* kMeterIdRequired = "MeterID required !";
inline constexpr const char* kNoImportFolder = "no import folder is known";

class HostShell {
 public:
  // `program_file` is the program's own path: its folder is AppPath and the
  // default import folder, and the language catalogues are looked for beside it.
  HostShell(SettingsStore& settings, std::filesystem::path program_file,
            StatusChannel* status = nullptr);

  // The load of the start-up window: splits the command line, derives the
  // settings paths, creates the language module, finds the import folder and
  // reads the meter number. Does not call Action. Fails when there is no
  // meter number (*err: "MeterID required !"); the module then ends
  // (iFinished true).
  bool Load(std::string_view command_line, std::string* err = nullptr);

  // Picks the meter by `mode` (the MeterID): names, family, read mode, the
  // description from "Desc", the remembered port from "COM", and the title.
  // Fails when there is no import folder (*err says so); no wizard opens.
  bool Action(int16_t mode, std::string* err = nullptr);

  // iFinished: stores the port in use as the meter's "COM" value; true also
  // marks the module as finished (the windows then close and the process ends).
  void SetFinished(bool finished);
  bool finished() const { return finished_; }

  // The status caption; every change is sent to the host.
  void SetStatus(std::string caption);
  const std::string& status() const { return status_; }

  // The host context changes only through the shell: the port in use, the
  // setup dialog that is open, the identification of the meter read last.
  const HostContext& context() const { return context_; }
  void SetComPort(int16_t port) { context_.ComPort = port; }
  void SetSetupBusy(bool busy) { context_.SetupBusy = busy; }
  void SetMeterIdentification(std::string item3) { meter_identification_ = std::move(item3); }
  // Identification item 3 of the meter read last, handed over by the transfer.
  const std::string& meter_identification() const { return meter_identification_; }

  const CommandLine& command_line() const { return command_line_; }
  const std::string& ProductKey() const { return product_key_; }
  const std::string& RegRoot() const { return reg_root_; }
  const std::string& ProfilesKey() const { return profiles_key_; }
  const std::string& ModulesKey() const { return context_.ModulesKey; }
  // The meter's settings key: ModulesKey + ModuleName.
  std::string MeterKey() const { return context_.ModulesKey + context_.ModuleName; }
  const LanguageModule* language() const { return language_.get(); }
  // The "LanguageDLL" value, cleaned: the language module's name.
  const std::string& LanguageName() const { return language_name_; }
  // A text of the language module, or "" when there is none.
  std::string Text(int32_t id, std::optional<std::string_view> argument = std::nullopt) const;
  const std::string& title() const { return title_; }
  const std::filesystem::path& program_file() const { return program_file_; }

 private:
  SettingsStore& settings_;
  std::filesystem::path program_file_;
  StatusChannel* status_channel_;
  CommandLine command_line_;
  HostContext context_;
  std::string product_key_;
  std::string reg_root_;
  std::string profiles_key_;
  std::unique_ptr<LanguageModule> language_;
  std::string language_name_;
  std::string status_;
  std::string title_;
  std::string meter_identification_;
  bool finished_ = false;
};

}  // namespace mi
