#include "platform/support/SecurityAttributes.h"

const SECURITY_ATTRIBUTES* GetPSecurityAttributesAllAccess() {
  static constexpr SECURITY_ATTRIBUTES allAccess{sizeof(SECURITY_ATTRIBUTES), nullptr, 0};
  return &allAccess;
}
