// The version text.
#include "apps/support/version.h"

#include "tn_version.h"

namespace tarnkit {

std::string versionText() {
  return std::string("tarnkit " TARNKIT_VERSION "\ncommit " TARNKIT_COMMIT "\ncompiler " TARNKIT_COMPILER
                     "\nlibrary tn_kits ") +
         Tarn::libraryVersion() + "\ninstruction set " + Tarn::instructionSet();
}

}  // namespace tarnkit
