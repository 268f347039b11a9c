// The library's one entry point, which the loader runs by itself.

#include "core/extension_state.hpp"
#include "core/hook_table.hpp"
#include "core/notification_callbacks.hpp"
#include "platform/foundation.hpp"
#include "settings/load_settings.hpp"

namespace hushlane {

namespace {

// The only load-time initializer: it runs once, on the thread that loads the library. The
// replacements are live before the first settings load, the observers only after it. Nothing is
// ever torn down.
[[gnu::constructor]] void extensionCtor() {
  {
    const platform::AutoreleasePool pool;
    installHookTable();
  }
  platform::log<"HL: starting...">();
  loadSettings();
  registerObservers();
  state::ctorTime.publish(platform::makeDate());
}

}  // namespace

}  // namespace hushlane
