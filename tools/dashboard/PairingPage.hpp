// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include <adwaita.h>

#include <tools/dashboard/Pairing.hpp>

namespace dashboard {

/// Takes a pairing link, or a relay's address and a code, shows whom it would pair with, and pairs
/// only when told to.
class PairingPage {
 public:
  struct Actions {
    /// Something was paired; `told` says what, and what was not.
    std::function<void(const std::string& told, bool isFailure)> paired;
    std::function<void()> showDemo;
  };

  explicit PairingPage(Actions actions);
  PairingPage(const PairingPage&) = delete;
  PairingPage& operator=(const PairingPage&) = delete;
  ~PairingPage();

  GtkWidget* widget() const { return bin_; }
  void begin();
  /// The same with a link from elsewhere. Nothing is sent before a person agrees: not even the
  /// certificate is looked at.
  void offer(const std::string& link);
  void focus();

 private:
  AdwStatusPage* makeEntering();
  AdwStatusPage* makeConfirming();
  AdwStatusPage* makeWorking();
  void show(AdwStatusPage* page);
  void readEntries();
  void proceed();
  void confirm(idlewyn::PairingLink link);
  void pair();
  void end(const PairingOutcome& outcome);
  void complain(const std::string& sentence);
  void work(const char* title);

  const Actions actions_;
  GtkWidget* bin_;
  GtkEditable* offer_ = nullptr;
  GtkEditable* code_ = nullptr;
  GtkWidget* error_ = nullptr;
  GtkWidget* facts_ = nullptr;
  AdwStatusPage* entering_;
  AdwStatusPage* question_;
  AdwStatusPage* working_;
  std::optional<idlewyn::PairingLink> link_;
  /// Answers of relays are for this page only, and only until it begins anew.
  std::shared_ptr<int> turn_;
};

}  // namespace dashboard
