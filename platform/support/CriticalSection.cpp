#include "platform/support/CriticalSection.h"

CriticalSection::~CriticalSection() = default;
