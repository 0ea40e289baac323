#include "SessionRecord.h"

#include <utility>

#include "Identifiers.h"
#include "Json.h"
#include "Keys.h"
#include "LocalDB.h"
#include "Version.h"
#include "zul/Deployment.h"

namespace zul {

namespace {

using Text = SessionJson::Text;

// A field's value as a document has it.
template <typename T>
T read(const Document& document, std::string_view key) {
  if constexpr (std::is_same_v<T, Text>) return document.stringForKey(key);
  if constexpr (std::is_same_v<T, std::int64_t>) return document.integerForKey(key);
  if constexpr (std::is_same_v<T, bool>) return document.booleanForKey(key);
  if constexpr (std::is_same_v<T, double>) return document.doubleForKey(key);
  if constexpr (std::is_same_v<T, std::optional<double>>) return document.numberForKey(key);
  if constexpr (std::is_same_v<T, boost::json::value>) return document.valueForKey(key);
}

void applyDefault(Text& value, const WhenAbsent& otherwise) {
  if (const auto* text = std::get_if<std::string_view>(&otherwise); text && !value) value = *text;
}
void applyDefault(std::int64_t& value, const WhenAbsent& otherwise) {
  if (const auto* number = std::get_if<std::int64_t>(&otherwise); number && value == 0) value = *number;
}
template <typename T>
void applyDefault(T&, const WhenAbsent&) {}

// Calls `use` with the place of a stored field's value in the record.
template <typename Use>
void withPlace(const Field& field, const Use& use) {
  std::visit(
      [&]<typename Place>(const Place& place) {
        if constexpr (!std::is_same_v<Place, InRecord<std::string>> && requires { place.edit; }) use(place);
      },
      field.member);
}

void write(MutableDocument& document, std::string_view key, const FieldValue& value) {
  std::visit(
      [&]<typename T>(const T& member) {
        if constexpr (std::is_same_v<T, Text>) document.setString(member, key);
        if constexpr (std::is_same_v<T, std::int64_t>) document.setInteger(member, key);
        if constexpr (std::is_same_v<T, bool>) document.setBoolean(member, key);
        if constexpr (std::is_same_v<T, double>) document.setDouble(member, key);
        if constexpr (std::is_same_v<T, std::optional<double>>) document.setNumber(member, key);
        if constexpr (std::is_same_v<T, boost::json::value>) document.setValue(member, key);
      },
      value);
}

void setEnvironment(SessionJson& record, const Environment& environment) {
  record.lng = environment.getLng();
  record.cntr = environment.getCntr();
  record.tz = environment.getTz();
  record.os = environment.getOs();
  record.osvr = environment.getOsvr();
  record.sr = environment.getSr();
  record.phone = environment.getPhone();
  record.apVr = environment.getApVr();
  record.cari = environment.getCari();
  record.isWifi = environment.getIsWifi();
  record.plat = environment.getPlatfrom();
}

void setIdentity(SessionJson& record, const Identity& identity) {
  record.advtId = identity.advtId;
  record.advtFlag = identity.advtFlag;
  if (identity.aidChange) record.aidChange = identity.aidChange;
  if (identity.uptAfv) record.uptAfv = identity.uptAfv;
  record.keychainUUID = identity.keychainUUID;
  record.uuid = identity.uuid;
  record.vendorId = identity.vendorId;
  record.pkg = identity.pkg;
  record.appId = identity.appId;
  record.ip = identity.ip;
}

}  // namespace

SessionRecord::SessionRecord(LocalDB& db, Identifiers& identifiers, Environment::Sources sources,
                             const Deployment& deployment, Log log)
    : db_(db),
      identifiers_(identifiers),
      sources_(std::move(sources)),
      collectorBaseUrl_(deployment.collectorBaseUrl),
      log_(std::move(log)) {}

SessionRecord::Current SessionRecord::getSharedInstance() const {
  const MutexLock lock(mutex_);
  return current_;
}

SessionRecord::Current SessionRecord::sharedInstance() {
  auto current = getSharedInstance();
  return current ? current : initUniqueInstance();
}

SessionRecord::Current SessionRecord::initUniqueInstance() {
  log_.debug("SessionJson initUniqueInstance", ZUL_HERE);
  const auto identity = identifiers_.refresh();  // once, however often the record has to be begun again
  noteChanges(identity);
  while (true) {
    std::uint64_t generation = 0;
    {
      const MutexLock lock(mutex_);
      showChanges();
      if (current_) return current_;
      generation = generation_;
    }
    auto made = std::make_shared<SessionJson>();
    make(*made, identity);
    const MutexLock lock(mutex_);
    if (!current_ && generation == generation_) current_ = std::move(made);
    showChanges();
    if (current_) return current_;
  }
}

void SessionRecord::noteChanges(const Identity& identity) {
  const MutexLock lock(mutex_);
  aidChange_ = aidChange_ || identity.aidChange == "Y";
  uptAfv_ = uptAfv_ || identity.uptAfv == "Y";
}

// Of several threads that make the record at once, one has seen the change, and another may be the first to end.
void SessionRecord::showChanges() {
  if (!current_ || (!aidChange_ && !uptAfv_)) return;
  auto changed = std::make_shared<SessionJson>(*current_);
  if (aidChange_) changed->aidChange = "Y";
  if (uptAfv_) changed->uptAfv = "Y";
  current_ = std::move(changed);
  aidChange_ = uptAfv_ = false;
}

void SessionRecord::clearInstance() {
  const MutexLock lock(mutex_);
  current_ = nullptr;
  ++generation_;
}

void SessionRecord::edit(const Edit& edit) {
  sharedInstance();
  editExisting(edit);
}

// Looks at the stored consent again afterwards: it may have been withdrawn while the device was being read.
void SessionRecord::refreshEnvironment() {
  while (editExisting([](SessionJson&) {})) {
    const auto environment = this->environment();
    SessionJson values;
    setEnvironment(values, environment);  // asks the system, which the lock is not held over
    std::string error;
    values.inch = environment.getInch(error);
    if (!error.empty() && !toldDisplayMap_.exchange(true)) log_.error("DeviceDisplayMap.plist: " + error, ZUL_HERE);
    editExisting([&](SessionJson& record) {
      for (const auto& field : fields()) {
        if (field.from != From::device) continue;
        withPlace(field, [&](const auto& place) { place.edit(record) = place.get(values); });
      }
    });
    if (Environment::storedStatus(db_) == environment.ATTAuthStatus()) return;
  }
}

bool SessionRecord::editExisting(const Edit& edit) {
  const MutexLock lock(mutex_);
  if (!current_) {
    ++generation_;  // one that is being made may have read the store before this change: it is begun again
    return false;
  }
  auto changed = std::make_shared<SessionJson>(*current_);
  edit(*changed);
  if (*changed != *current_) current_ = std::move(changed);  // else what was made of it stays good
  return true;
}

// Reads and computes, and writes nothing.
void SessionRecord::make(SessionJson& record, const Identity& identity) {
  record.sdk_version = kSdkVersion;
  record.dSource = "SDK";
  record._qzhst = collectorBaseUrl_;
  setIdentity(record, identity);
  for (const auto& field : fields()) db_.documentWithID(field.document);  // from the disk, where that has to be
  // In one transaction, so that the session that another thread begins just now is in it as a whole or not at all.
  db_.transaction([&] {
    for (const auto& field : fields()) {
      if (field.from != From::store) continue;
      withPlace(field, [&]<typename T>(const InRecord<T>& place) {
        auto& value = place.edit(record);
        value = read<T>(db_.documentWithID(field.document), field.readKey);
        applyDefault(value, field.whenAbsent);
      });
    }
    const auto identify = db_.documentWithID(keys::identify::kDocument);
    const auto& appId = identify.valueForKey(keys::identify::kAppId);
    if (record.appId.is_null() && appId.is_number()) record.appId = appId;  // found since
    record.buildMode = identify.booleanForKey(keys::identify::kBuildMode) ? "dev" : "prod";
  });
  setEnvironment(record, environment());
}

// ---- store and show

void SessionRecord::store(const Field& field, const FieldValue& value) {
  db_.update(field.document, [&](MutableDocument& document) { write(document, field.key, value); });
  show(field);
}

void SessionRecord::showDocument(std::string_view document) {
  show(document, [](const Field& field) { return field.from == From::store; });
}

void SessionRecord::show(const Field& field) {
  show(field.document, [&field](const Field& other) { return &other == &field; });
}

// In one edit, so that no payload has half of it. Whoever writes looks again afterwards, so that of several threads at
// once the last commit is what stays shown.
void SessionRecord::show(std::string_view document, const std::function<bool(const Field&)>& shows) {
  db_.afterCommit([this, document, shows] {
    for (std::optional<Document> shown; true;) {
      const auto stored = db_.documentWithID(document);
      if (shown && stored.isSame(*shown)) return;
      editExisting([&](SessionJson& record) {
        for (const auto& field : fields()) {
          if (field.document != document || !shows(field)) continue;
          withPlace(field, [&]<typename T>(const InRecord<T>& place) {
            auto value = read<T>(stored, field.key);
            applyDefault(value, field.whenAbsent);
            place.edit(record) = std::move(value);
          });
        }
      });
      shown = stored;
    }
  });
}

}  // namespace zul
