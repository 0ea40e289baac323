#pragma once

#include <optional>
#include <string>

#include "Claim.h"
#include "Log.h"
#include "Mutex.h"

namespace zul {

class LocalDB;

/// Gathers, in this process's memory, what claims the install, and stores who wins ("InstallReferrerInfo"). Any thread
/// may call it; the lock covers the claims alone.
class InstallReferrers {
 public:
  using Text = std::optional<std::string>;

  InstallReferrers(LocalDB& db, Log log) : db_(db), log_(std::move(log)) {}

  Claims claims() const;
  void setFp(Claim claim);

  /// Takes a referrer whose time is not over `now`, in ms since 1970, and stores the moment of the latest referrer's
  /// click.
  void parseReferrer(const Text& referrer, double now);
  /// Takes a referrer that the host handed over, when it leaves something for the collector to find out.
  void parseReferrer2(const Text& referrer);
  /// Takes the referrers in the URL that an advertisement opened.
  void setFacebookreferrerData(const Text& url, double now);

  /// Stores the claim that wins, if there is one.
  void checkInstallReferrerOrder();

 private:
  void setIr(Claim claim);

  LocalDB& db_;
  const Log log_;
  mutable Mutex mutex_;
  Claims claims_ ZUL_GUARDED_BY(mutex_);
};

}  // namespace zul
