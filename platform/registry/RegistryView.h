// Joins the registry reads of one thread into one look at the store.
#pragma once

#include "platform/support/api.h"

// Every read that this thread makes in the scope sees the store as of the first one, whatever others
// commit meanwhile, and costs less for it. A write of the thread's own moves the look on to itself. Keep
// it short: pages that a look may still see cannot be used again. Scopes may be nested; the outermost
// counts. Inside a RegistryTransaction, reads see the transaction as ever.
class SPS_API RegistryView {
public:
  RegistryView();
  ~RegistryView();
  RegistryView(const RegistryView&) = delete;
  RegistryView& operator=(const RegistryView&) = delete;
};
