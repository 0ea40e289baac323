#include "Operations.h"

#include <cstdint>
#include <tuple>
#include <type_traits>
#include <utility>

#include "EngagementArguments.h"
#include "Facade.h"
#include "Json.h"
#include "Phone.h"
#include "Runtime.h"
#include "Tracker.h"

namespace zul::simulator {

namespace {

using Result = std::optional<boost::json::value>;

// ---- a parameter's type, as it is written and read

template <typename T>
struct Parameter;

template <>
struct Parameter<bool> {
  static constexpr std::string_view kForm = "true|false";
  static bool read(Arguments& arguments) {
    const auto value = arguments.value("an argument");
    if (!value.is_bool()) throw CommandError("an argument must be true or false");
    return value.get_bool();
  }
};
template <>
struct Parameter<std::int64_t> {
  static constexpr std::string_view kForm = "INTEGER";
  static std::int64_t read(Arguments& arguments) {
    const auto value = arguments.value("an argument");
    if (!value.is_int64()) throw CommandError("an argument must be a whole number");
    return value.get_int64();
  }
};
template <>
struct Parameter<int> : Parameter<std::int64_t> {
  static int read(Arguments& arguments) {
    const auto value = Parameter<std::int64_t>::read(arguments);
    if (!std::in_range<int>(value)) throw CommandError("an argument is out of range");
    return static_cast<int>(value);
  }
};
template <>
struct Parameter<std::string> {
  static constexpr std::string_view kForm = "\"TEXT\"";
  static std::string read(Arguments& arguments) { return arguments.text("an argument"); }
};
template <>
struct Parameter<Dictionary> {
  static constexpr std::string_view kForm = "{...}";
  static Dictionary read(Arguments& arguments) { return DictionaryAccess::wrap(arguments.object("an argument")); }
};
template <>
struct Parameter<double> {
  static constexpr std::string_view kForm = "NUMBER";
  static double read(Arguments& arguments) {
    const auto value = arguments.value("an argument");
    if (!value.is_number()) throw CommandError("an argument must be a number");
    return value.to_number<double>();
  }
};
template <>
struct Parameter<boost::json::value> {
  static constexpr std::string_view kForm = "JSON";
  static boost::json::value read(Arguments& arguments) { return arguments.value("an argument"); }
};
template <>
struct Parameter<boost::json::array> {
  static constexpr std::string_view kForm = "[...]";
  static boost::json::array read(Arguments& arguments) {
    const auto value = arguments.value("an argument");
    if (!value.is_array()) throw CommandError("an argument must be a JSON array");
    return value.get_array();
  }
};
template <>
struct Parameter<boost::json::object> {
  static constexpr std::string_view kForm = "{...}";
  static boost::json::object read(Arguments& arguments) { return arguments.object("an argument"); }
};
template <>
struct Parameter<User> {
  static constexpr std::string_view kForm = kUserForm;
  static User read(Arguments& arguments) { return readUser(arguments.object("the member")); }
};
template <>
struct Parameter<InternalCampaign> {
  static constexpr std::string_view kForm = kInternalCampaignForm;
  static InternalCampaign read(Arguments& arguments) { return readInternalCampaign(arguments.object("the campaigns")); }
};
template <typename T>
struct Parameter<std::optional<T>> {
  static constexpr std::string_view kForm = Parameter<T>::kForm;
  static std::optional<T> read(Arguments& arguments) {
    if (arguments.empty() || arguments.take("null")) return std::nullopt;
    return Parameter<T>::read(arguments);
  }
};
template <>
struct Parameter<std::function<void()>> {
  static constexpr std::string_view kForm = "";
  static std::function<void()> read(Arguments&) {
    return [] {};
  }
};

template <typename T>
constexpr bool kOptional = false;
template <typename T>
constexpr bool kOptional<std::optional<T>> = true;

template <typename... Ts>
std::string parameters() {
  std::string text;
  [[maybe_unused]] const auto add = [&](std::string_view form, bool optional) {
    if (form.empty()) return;
    if (!text.empty()) text += ' ';
    if (optional) text += '[';
    text += form;
    if (optional) text += ']';
  };
  (add(Parameter<Ts>::kForm, kOptional<Ts>), ...);
  return text;
}

// ---- a result, as it is shown

template <typename T>
boost::json::value toJson(const T& value) {
  return value;
}
boost::json::value toJson(const std::string& value) {
  return boost::json::string(value);
}
boost::json::value toJson(const Dictionary& value) {
  return DictionaryAccess::object(value);
}
boost::json::value toJson(const std::optional<std::string>& value) {
  return value ? toJson(*value) : boost::json::value();
}

// ---- methods as operations

Tracker& target(Runtime& runtime, Tracker*) {
  return runtime.tracker();
}
SessionController& target(Runtime& runtime, SessionController*) {
  return runtime.tracker().sessionController();
}
NHNetworkClock& target(Runtime& runtime, NHNetworkClock*) {
  return runtime.networkClock();
}

// Calls what `work` does as the facade would: what it throws is logged and dropped.
template <typename Work>
auto guarded(Call& call, Work&& work) {
  auto& runtime = call.phone.process();
  using Value = decltype(work(runtime));
  if constexpr (std::is_void_v<Value>) {
    runtime.log().guard([&] { work(runtime); }, ZUL_HERE);
    return Result();
  } else {
    Value value{};
    runtime.log().guard([&] { value = work(runtime); }, ZUL_HERE);
    return Result(toJson(value));
  }
}

template <auto method, typename Object, typename Value, typename... Ts>
Operation operation(std::string_view name, std::type_identity<Value (Object::*)(Ts...)>) {
  return {name, parameters<std::remove_cvref_t<Ts>...>(), [](Call& call) {
            const std::tuple<std::remove_cvref_t<Ts>...> values{
                Parameter<std::remove_cvref_t<Ts>>::read(call.arguments)...};
            call.arguments.end();
            return guarded(call, [&](Runtime& runtime) -> std::remove_cvref_t<Value> {
              auto& object = target(runtime, static_cast<Object*>(nullptr));
              return std::apply([&](const auto&... value) { return (object.*method)(value...); }, values);
            });
          }};
}
template <auto method, typename Object, typename Value, typename... Ts>
Operation operation(std::string_view name, std::type_identity<Value (Object::*)(Ts...) const>) {
  return operation<method>(name, std::type_identity<Value (Object::*)(Ts...)>());
}
template <auto method>
Operation operation(std::string_view name) {
  return operation<method>(name, std::type_identity<decltype(method)>());
}

// ---- the facade's own

/// A web view's configuration that is nothing but a text for the log.
class NamedConfiguration final : public WebViewConfiguration {
 public:
  explicit NamedConfiguration(std::string name) : name_(std::move(name)) {}
  std::string description() const override { return name_; }

 private:
  std::string name_;
};

Operation entry(std::string_view name, bool webView, bool deferred) {
  return {name, webView ? "[{...}] [\"TEXT\"]" : "[{...}]", [webView, deferred](Call& call) {
            const auto options = Parameter<std::optional<Dictionary>>::read(call.arguments);
            const auto configuration =
                webView ? Parameter<std::optional<std::string>>::read(call.arguments) : std::nullopt;
            call.arguments.end();
            std::function<void()> callback;
            if (deferred) callback = [report = call.report] { report({{"callback", "deferred"}}); };
            const Application application{call.state};
            const facade::Entry entry{options, application, callback};
            auto& runtime = call.phone.process();
            if (webView) {
              facade::initializeWithWebView(
                  runtime, entry, configuration ? std::make_shared<NamedConfiguration>(*configuration) : nullptr);
            } else {
              facade::initialize(runtime, entry);
            }
            call.phone.setLaunched();
            return Result();
          }};
}

Result attributedInfo(Call& call) {
  call.arguments.end();
  facade::getAttributedInfo(call.phone.process(), [report = call.report](const Dictionary& attribution) {
    report({{"callback", "getAttributedInfo"}, {"value", DictionaryAccess::object(attribution)}});
  });
  return {};
}

/// Of a web view of the host's, with this custom user agent or none.
Result clientUserAgent(Call& call) {
  auto& webViews = *call.phone.sim.webViews;
  webViews.behaviour().customUserAgent = Parameter<std::optional<std::string>>::read(call.arguments);
  call.arguments.end();
  return guarded(call, [&](Runtime& runtime) { runtime.webView().setClientUserAgentString(webViews.hostWebView()); });
}

Result sendTransaction(Call& call) {
  call.arguments.end();
  return guarded(call, [](Runtime& runtime) { static_cast<void>(runtime.tracker().sendTransaction()); });
}

Result deferredUrl(Call& call) {
  call.arguments.end();
  return guarded(call, [](Runtime& runtime) { return runtime.deferredLinks().getDeferredUrl(); });
}

Result debugMode(Call& call) {
  const auto mode = Parameter<int>::read(call.arguments);
  call.arguments.end();
  return guarded(call, [mode](Runtime& runtime) { runtime.debugMode() = mode; });
}

Result isDebug(Call& call) {
  call.arguments.end();
  return guarded(call, [](Runtime& runtime) { return runtime.debugMode().load(); });
}

}  // namespace

const std::vector<Operation>& operations() {
  using T = Tracker;
  using C = SessionController;
  using N = NHNetworkClock;
  static const std::vector<Operation> all = {
      // The facade
      entry("initialization", false, false),
      entry("initializationForDeferredCallback", false, true),
      entry("initializationWithWebViewConfiguration", true, false),
      entry("initializationWithWebViewConfigurationForDeferredCallback", true, true),
      {"setClientUserAgentString", "[\"TEXT\"]", clientUserAgent},
      {"sendTransaction", "", sendTransaction},
      operation<&T::getSessionData>("getSessionData"),
      operation<&T::getZULInitFlag>("getZULSessionInitYN"),
      operation<&T::checkNewSession>("checkNewSession"),
      {"getAttributedInfo", "", attributedInfo},
      operation<&T::checkDebugMode>("checkDebugMode"),
      operation<&T::setBlockingLogEventCallBeforeSdkInitComplete>("setBlockingLogEventCallBeforeSdkInitComplete"),
      operation<&T::getBlockingLogEventCallBeforeSdkInitComplete>("getBlockingLogEventCallBeforeSdkInitComplete"),
      {"getDeferredUrl", "", deferredUrl},
      operation<&T::parseAttributionLinkToGetDeeplinkUrl>("parseAttributionLinkToGetDeeplinkUrl"),
      operation<&T::parseDeepLink>("setDeepLink"),
      operation<&T::parseReferrer2>("setInstallReferrer"),
      operation<&T::parseReferrer>("setFacebookReferrer"),
      operation<&T::setFacebookreferrerData>("setFacebookreferrerData"),
      operation<&T::setUser>("setUser"),
      operation<&T::setUserLogout>("setUserLogout"),
      operation<&T::saveDeviceToken>("setPushToken"),
      operation<&T::setInternalCampaign>("setInternalCampaign"),
      operation<&T::setIDFA>("setIDFA"),
      operation<&T::denyATT>("denyATT"),
      operation<&T::setATTAuthorizationStatus>("setATTAuthorizationStatus"),
      {"ZULDebugger.debugMode", "INTEGER", debugMode},
      {"ZULDebugger.isDebug", "", isDebug},

      // Through the Tracker
      operation<&T::initEnd>("Tracker.initEnd"),
      operation<&T::authorizationCheckWithAuthToken>("Tracker.authorizationCheckWithAuthToken"),
      operation<&T::setInstallTimeAndNTP>("Tracker.setInstallTimeAndNTP"),
      operation<&T::setLocalInstallTime>("Tracker.setLocalInstallTime"),
      operation<&T::addObservers>("Tracker.addObservers"),
      operation<&T::setATTAlertCheked>("Tracker.setATTAlertCheked"),
      operation<&T::setIDFA>("Tracker.setIDFA"),
      operation<&T::denyATT>("Tracker.denyATT"),
      operation<&T::checkIDFAChange>("Tracker.checkIDFAChange"),
      operation<&T::setGpsIsOn>("Tracker.setGpsIsOn"),
      operation<&T::setATTAuthorizationStatus>("Tracker.setATTAuthorizationStatus"),
      operation<&T::asyncMultiTask>("Tracker.asyncMultiTask"),
      operation<&T::doAyncTask>("Tracker.doAyncTask"),
      operation<&T::createUpdateTimer>("Tracker.createUpdateTimer"),
      operation<&T::oneSecondTimerTick>("Tracker.oneSecondTimerTick"),
      operation<&T::checkNewSession>("Tracker.checkNewSession"),
      operation<&T::occurNewSessionWithType>("Tracker.occurNewSessionWithType"),
      operation<&T::sendTransaction>("Tracker.sendTransaction"),
      operation<&T::sendTransactionByPage>("Tracker.sendTransactionByPage"),
      operation<static_cast<void (T::*)()>(&T::makeJson)>("Tracker.makeJson"),
      operation<static_cast<void (T::*)()>(&T::makeJsonByPage)>("Tracker.makeJsonByPage"),
      operation<&T::setTempPairingData>("Tracker.setTempPairingData"),
      operation<&T::createSessionJson>("Tracker.createSessionJson"),
      operation<&T::createEntireJson>("Tracker.createEntireJson"),
      operation<&T::createEntireJson2>("Tracker.createEntireJson2"),
      operation<&T::getSessionData>("Tracker.getSessionData"),
      operation<&T::sendToServerWithPageYN>("Tracker.sendToServerWithPageYN"),
      operation<&T::exceptionSendToServer>("Tracker.exceptionSendToServer"),
      operation<&T::getErrorLogParamsDictionaryWithErrlog>("Tracker.getErrorLogParamsDictionaryWithErrlog"),
      operation<&T::getZULInitFlag>("Tracker.getZULInitFlag"),
      operation<&T::accessTokenRequestDone>("Tracker.accessTokenRequestDone"),
      operation<&T::fingerPrintRequestDone>("Tracker.fingerPrintRequestDone"),
      operation<&T::NTPtimeGetDone>("Tracker.NTPtimeGetDone"),
      operation<&T::firstExcute>("Tracker.firstExcute"),
      operation<&T::newSessionYN>("Tracker.newSessionYN"),
      operation<&T::getAttributedInfo>("Tracker.getAttributedInfo"),
      operation<&T::checkDebugMode>("Tracker.checkDebugMode"),
      operation<&T::setBlockingLogEventCallBeforeSdkInitComplete>(
          "Tracker.setBlockingLogEventCallBeforeSdkInitComplete"),
      operation<&T::getBlockingLogEventCallBeforeSdkInitComplete>(
          "Tracker.getBlockingLogEventCallBeforeSdkInitComplete"),
      operation<&T::requestIadInfo>("Tracker.requestIadInfo"),
      operation<&T::requestIAdDone>("Tracker.requestIAdDone"),
      operation<&T::getAppleAttributionToken>("Tracker.getAppleAttributionToken"),
      operation<static_cast<void (T::*)(bool)>(&T::requestFingerPrintByDeeplink)>(
          "Tracker.requestFingerPrintByDeeplink"),
      operation<static_cast<void (T::*)(bool, std::int64_t)>(&T::requestFingerPrintByDeeplink)>(
          "Tracker.requestFingerPrintByDeeplinkThroughClient"),
      operation<&T::requestFingerPrintByDeeplinkInWeb>("Tracker.requestFingerPrintByDeeplinkInWeb"),
      operation<&T::saveDeepLinkWithFingerPrint>("Tracker.saveDeepLinkWithFingerPrint"),
      operation<&T::parseDeepLink>("Tracker.parseDeepLink"),
      operation<&T::parseReferrer>("Tracker.parseReferrer"),
      operation<&T::parseReferrer2>("Tracker.parseReferrer2"),
      operation<&T::recordDeepLink>("Referrer.parseDeepLink"),
      operation<&T::recordReferrer>("Referrer.parseReferrer"),
      operation<&T::checkInstallReferrerOrder>("Tracker.checkInstallReferrerOrder"),
      operation<&T::checkToResetDRInfo>("Tracker.checkToResetDRInfo"),
      operation<&T::resetDRInfo>("Tracker.resetDRInfo"),
      operation<&T::updatePostbackConversionValue>("Tracker.updatePostbackConversionValue"),
      operation<&T::saveAttributedInfo>("Tracker.saveAttributedInfo"),
      operation<&T::parseAttributionLinkToGetDeeplinkUrl>("Tracker.parseAttributionLinkToGetDeeplinkUrl"),
      operation<&T::setFacebookreferrerData>("Tracker.setFacebookreferrerData"),
      operation<&T::selfValidation>("Tracker.selfValidation"),

      // Engagement
      operation<&T::setUser>("Tracker.setUser"),
      operation<&T::saveUserLoginInfo>("Tracker.saveUserLoginInfo"),
      operation<&T::setUserLogout>("Tracker.setUserLogout"),
      operation<&T::saveDeviceToken>("Tracker.saveDeviceToken"),
      operation<&T::setPushId>("Tracker.setPushId"),
      operation<&T::setPushTitle>("Tracker.setPushTitle"),
      operation<&T::setPushClickTime>("Tracker.setPushClickTime"),
      operation<&T::setPushPeriod>("Tracker.setPushPeriod"),
      operation<&T::setPushExpiredTime>("Tracker.setPushExpiredTime"),
      operation<&T::checkToResetPushInfo>("Tracker.checkToResetPushInfo"),
      operation<&T::resetPushInfo>("Tracker.resetPushInfo"),
      operation<&T::receiveNotificationWithParams>("Tracker.receiveNotificationWithParams"),
      operation<&T::setInternalCampaign>("Tracker.setInternalCampaign"),
      operation<&T::checkToResetInternalCampaign>("Tracker.checkToResetInternalCampaign"),
      operation<&T::resetInternalCampaign>("Tracker.resetInternalCampaign"),
      operation<&T::setReceivedInAppMessageList>("Tracker.setReceivedInAppMessageList"),
      operation<&T::receivedInAppMessageList>("Tracker.receivedInAppMessageList"),
      operation<&T::checkInAppMessageValidation>("Tracker.checkInAppMessageValidation"),
      operation<&T::checkToResetInAppMessage>("Tracker.checkToResetInAppMessage"),
      operation<&T::resetInAppMessage>("Tracker.resetInAppMessage"),

      operation<&N::synchronize>("NHNetworkClock.synchronize"),
      operation<&N::reset>("NHNetworkClock.reset"),
      operation<&N::finishAssociations>("NHNetworkClock.finishAssociations"),
      operation<&N::isSynchronized>("NHNetworkClock.isSynchronized"),
      operation<&N::networkOffset>("NHNetworkClock.networkOffset"),
      operation<&N::networkTime>("NHNetworkClock.networkTime"),
      operation<&N::setShouldUseSavedSynchronizedTime>("NHNetworkClock.setShouldUseSavedSynchronizedTime"),
      operation<&N::setIsAutoSynchronizedWhenUserChangeLocalTime>(
          "NHNetworkClock.setIsAutoSynchronizedWhenUserChangeLocalTime"),

      // Through the Tracker's session controller
      operation<&C::resetSid>("SessionController.resetSid"),
      operation<&C::resetVtTz>("SessionController.resetVtTz"),
      operation<&C::updateIsVisitNew>("SessionController.updateIsVisitNew"),
      operation<&C::updateIsDf>("SessionController.updateIsDf"),
      operation<&C::updateIsWf>("SessionController.updateIsWf"),
      operation<&C::updateIsMf>("SessionController.updateIsMf"),
      operation<&C::updateIsWfUs>("SessionController.updateIsWfUs"),
      operation<&C::updateUdVt>("SessionController.updateUdVt"),
      operation<&C::updateLtvt>("SessionController.updateLtvt"),
      operation<&C::updateLtVi>("SessionController.updateLtVi"),
      operation<&C::updateLtRvnVt>("SessionController.updateLtRvnVt"),
      operation<&C::saveRecentSessionTimeSec>("SessionController.saveRecentSessionTimeSec"),
      operation<&C::saveSessionExpireTime>("SessionController.saveSessionExpireTime"),
      operation<&C::checkToResetUdRvnc>("SessionController.checkToResetUdRvnc"),
      operation<&C::updateUdRvnc>("SessionController.updateUdRvnc"),
      operation<&C::updateLtRvnc>("SessionController.updateLtRvnc"),
      operation<&C::updateCsRvnVsWithRevenueJsonVtTz>("SessionController.updateCsRvnVsWithRevenueJsonVtTz"),
      operation<&C::updateLtrvni>("SessionController.updateLtrvni"),
      operation<&C::updateLtrvnWithRevenuJsonProducts>("SessionController.updateLtrvnWithRevenuJsonProducts"),
      operation<&C::updateLastOrderNoWithOrderNo>("SessionController.updateLastOrderNoWithOrderNo"),
      operation<&C::updateFirstOrd>("SessionController.updateFirstOrd"),
      operation<&C::resetFirstOrd>("SessionController.resetFirstOrd"),
      operation<&C::resetLtRvnVt>("SessionController.resetLtRvnVt"),
      operation<&C::saveAppInfo>("SessionController.saveAppInfo"),
      operation<&C::resetAboutNewVisitInfo>("SessionController.resetAboutNewVisitInfo"),
      operation<&C::resetDrUpdate>("SessionController.resetDrUpdate"),
      operation<&C::resetIrUpdate>("SessionController.resetIrUpdate"),
      operation<&C::resetOpenDl>("SessionController.resetOpenDl"),
      operation<&C::resetAidChange>("SessionController.resetAidChange"),
      operation<&C::resetSaveToken>("SessionController.resetSaveToken"),
      operation<&C::resetUptAfv>("SessionController.resetUptAfv"),
      operation<&C::resetPushTitle>("SessionController.resetPushTitle"),
      operation<&C::resetPageKey>("SessionController.resetPageKey"),
      operation<&C::updatePiTraceWithPi>("SessionController.updatePiTraceWithPi"),
      operation<&C::updateSkAdadCurValue>("SessionController.updateSkAdadCurValue"),
      operation<&C::updateAlreadySeenMessageId>("SessionController.updateAlreadySeenMessageId"),
      operation<&C::updateInamId>("SessionController.updateInamId"),
      operation<&C::updateInamClkTime>("SessionController.updateInamClkTime"),
      operation<&C::updateInamExpireTime>("SessionController.updateInamExpireTime"),
      operation<&C::updateSesssionAboutEnvironment>("SessionController.updateSesssionAboutEnvironment"),
  };
  return all;
}

}  // namespace zul::simulator
