#pragma once

#include <memory>
#include <string>

#include "zul/Export.h"

namespace zul {

namespace platform {
class Keychain;
}

/// A keychain in the user's own, over the Secret Service of the session: a library beside this one, zul-secret, which
/// needs libsecret. A host that wants it sets `Platform::keychain`.
///
/// Its items are in the default collection, encrypted as that is; `applicationId` tells them from other applications'.
/// Each call takes a second at most; where one took that long, those of the next half minute fail at once. A collection
/// that is locked, and a session without the service, are failures too: nobody is asked for a password. Any thread may
/// call it. Where two processes add the same item at the same moment, one item is left, that of the later.
ZUL_EXPORT std::shared_ptr<platform::Keychain> secretServiceKeychain(const std::string& applicationId);

}  // namespace zul
