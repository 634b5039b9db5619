#include "TolvanderCore/SupportAddress.h"

namespace tolvander {

std::string supportAddress() { return TOLVANDER_SUPPORT_EMAIL; }

}  // namespace tolvander
