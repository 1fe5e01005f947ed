// SPDX-License-Identifier: MIT
#pragma once

#include <deque>
#include <string>
#include <utility>

#include <gtest/gtest.h>

#include <IdlewynKit/platform/secrets/Keychain.hpp>

/// A keychain that answers as told and writes down what it was asked.
namespace idlewyn::testing {

class ScriptedKeychain : public platform::Keychain {
 public:
  using Code = platform::KeychainStatus::Code;

  explicit ScriptedKeychain(std::deque<Code> answers) : answers_(std::move(answers)) {}
  ~ScriptedKeychain() override { EXPECT_TRUE(answers_.empty()) << "too few calls: " << calls; }

  platform::KeychainMatch copyMatching(const platform::KeychainQuery& query) override {
    platform::KeychainMatch match;
    match.status = answer("copy", query);
    if (match.status == platform::KeychainStatus::success) match.data = item;
    return match;
  }
  Code add(const platform::KeychainQuery& query,
           const platform::KeychainAttributes& attributes) override {
    return write("add", query, attributes);
  }
  Code update(const platform::KeychainQuery& query,
              const platform::KeychainAttributes& attributes) override {
    return write("update", query, attributes);
  }
  Code remove(const platform::KeychainQuery& query) override { return answer("remove", query); }

  /// What a successful read finds; absent for something that is no bytes.
  std::optional<platform::Data> item;
  /// "update service/account@group value, add service/account value", "!" for an accessibility
  /// other than after the first unlock.
  std::string calls;

 private:
  Code answer(std::string_view verb, const platform::KeychainQuery& query) {
    if (!calls.empty()) calls += ", ";
    calls.append(verb).append(" ").append(query.service).append("/").append(query.account);
    if (query.accessGroup) calls += "@" + *query.accessGroup;
    if (answers_.empty()) {
      ADD_FAILURE() << "too many calls: " << calls;
      return platform::KeychainStatus::notAvailable;
    }
    const Code code = answers_.front();
    answers_.pop_front();
    return code;
  }
  Code write(std::string_view verb, const platform::KeychainQuery& query,
             const platform::KeychainAttributes& attributes) {
    const Code code = answer(verb, query);
    calls.append(" ").append(attributes.value.text());
    if (attributes.accessible != platform::KeychainAccessibility::afterFirstUnlock) calls += "!";
    return code;
  }

  std::deque<Code> answers_;
};

}  // namespace idlewyn::testing
