// Joins the registry reads of one thread into one look at the store.
#pragma once

#include "platform/support/api.h"

// Every read that this thread makes in the scope sees the store as of the first one, whatever others
// commit meanwhile, and costs less for it. A write of the thread's own moves the look on to itself. Keep
// it short: pages that a look may still see cannot be used again. Scopes may be nested. Inside a
// RegistryTransaction, reads see the transaction as ever.
class SPS_API RegistryView {
public:
  enum class Extent {
    Store,
    // Promises one state for the open of one key and the reads of its values only, which mostly need no
    // more than the thread's memory. Another key may be seen as of a later commit.
    Key
  };

  explicit RegistryView(Extent extent = Extent::Store);
  ~RegistryView();
  RegistryView(const RegistryView&) = delete;
  RegistryView& operator=(const RegistryView&) = delete;

private:
  bool m_isWhole;
};
