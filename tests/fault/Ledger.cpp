#include "Ledger.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <sstream>

#include "Json.h"
#include "SqliteShell.h"
#include "TemporaryFolder.h"

namespace zul::test {

void Ledger::addReported(const std::string& output) {
  std::istringstream lines(output);
  for (int number = 0; lines >> number;) reported_.insert(number);
}

void Ledger::addUpload(const collector::RecordedRequest& upload, const std::string& process, bool mayBeAccepted) {
  ++uploads_;
  std::vector<std::int64_t> own;
  const auto body = upload.body();
  for (const auto& payload : body.get_array()) {
    const auto* session = payload.is_object() ? json::find(payload.get_object(), "SESSION") : nullptr;
    ASSERT_TRUE(session && session->is_object()) << json::text(payload);
    ++payloads_;
    addPayload(session->get_object(), mayBeAccepted);
    if (json::string(session->get_object(), "_accessToken") == process && session->get_object().contains("event")) {
      own.push_back(json::integer(session->get_object(), "event"));
    }
  }
  EXPECT_TRUE(std::is_sorted(own.begin(), own.end())) << "out of order in one upload";
}

void Ledger::addPayload(const boost::json::object& session, bool mayBeAccepted) {
  const auto sid = json::string(session, "sid").value_or("");
  const Visit visit{json::integer(session, "ltvt"), json::integer(session, "ltRvnVt"), json::integer(session, "vtTz")};
  EXPECT_EQ(visits_.try_emplace(sid, visit).first->second, visit) << json::text(session);
  EXPECT_EQ(sids_.try_emplace(visit.ltvt, sid).first->second, sid) << json::text(session);
  const auto uuid = json::string(session, "uuid").value_or("");
  if (uuid_.empty()) uuid_ = uuid;
  EXPECT_EQ(uuid, uuid_);
  if (!session.contains("event")) return;

  auto& arrival = arrivals_[static_cast<int>(json::integer(session, "event"))];
  const auto text = json::text(session);
  if (arrival.times == 0) arrival.payload = text;
  EXPECT_EQ(text, arrival.payload) << "two payloads of one event";
  ++arrival.times;
  arrival.mayBeAccepted |= mayBeAccepted;
}

std::set<int> Ledger::missing() const {
  std::set<int> missing;
  for (const int number : reported_) {
    const auto found = arrivals_.find(number);
    if (found == arrivals_.end() || !found->second.mayBeAccepted) missing.insert(number);
  }
  return missing;
}

std::string Ledger::statistics() const {
  const auto repeated =
      std::count_if(arrivals_.begin(), arrivals_.end(), [](const auto& arrival) { return arrival.second.times > 1; });
  std::ostringstream text;
  text << reported_.size() << " events reported, " << arrivals_.size() << " arrived, " << repeated
       << " of them more than once; " << visits_.size() << " sessions; " << uploads_ << " uploads with " << payloads_
       << " payloads";
  return text.str();
}

std::optional<StoredSession> readSession(const std::string& folder) {
  // Opening a store mends it, and that is for its next owner to do.
  const TemporaryFolder copy;
  for (const auto* name : {"ZULLocalDB.sqlite", "ZULLocalDB.sqlite-wal"}) {
    if (std::filesystem::exists(folder + "/" + name)) std::filesystem::copy(folder + "/" + name, copy.path());
  }
  if (!std::filesystem::exists(copy.path("ZULLocalDB.sqlite"))) return std::nullopt;
  SqliteShell shell(copy.path("ZULLocalDB.sqlite"));
  EXPECT_EQ(shell.run("PRAGMA integrity_check"), "ok");
  const auto behavior = json::parseObject(shell.run("SELECT body FROM documents WHERE id='Behavior'"));
  const auto identify = json::parseObject(shell.run("SELECT body FROM documents WHERE id='Identify'"));
  if (!behavior || json::integer(*behavior, "lifeCriteriaVisit") == 0) return std::nullopt;
  EXPECT_TRUE(identify.has_value()) << "a session without its identifier";
  if (!identify) return std::nullopt;

  const auto text = json::text(*behavior) + json::text(*identify);
  const StoredSession session{json::string(*identify, "uuid").value_or(""), json::string(*identify, "sid").value_or(""),
                              json::integer(*behavior, "lifeCriteriaVisit")};
  EXPECT_NE(session.sid, "") << text;
  const double begun = json::number(*behavior, "recentSessionTimeSec").value_or(0);
  EXPECT_NEAR(begun, static_cast<double>(json::integer(*behavior, "vtTz")) / 1000, 60) << text;
  EXPECT_GE(json::number(*behavior, "sessionExpireSec").value_or(0), begun + 1799) << text;
  EXPECT_EQ(session.visits, json::integer(*behavior, "spendingVisitToPurchase")) << text;
  for (const auto* end : {"expireTimeForDaily", "expireTimeForWeekly", "expireTimeForMonthly"}) {
    EXPECT_TRUE(json::number(*behavior, end)) << text;
  }
  EXPECT_TRUE(behavior->contains("userCriteriaPurchase")) << "the last step of a new session; " << text;
  return session;
}

}  // namespace zul::test
