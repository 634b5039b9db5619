#include "TolvanderApp/Model/SettingsFlow.h"

namespace tolvander::app {

void SettingsFlow::set(void (AppSettings::*setter)(bool), bool value) {
  if (context_.gate.isBusy() || context_.fields.isEjecting) {
    return;
  }
  context_.storeSettings([&] { (context_.model.settings().*setter)(value); });
}

}  // namespace tolvander::app
