// Joins the registry writes of one thread into one durable transaction.
#pragma once

#include <memory>

#include "platform/registry/registry.h"

// From its construction to Commit every registry function that this thread calls works inside the
// transaction: it reads its own writes, nobody else sees them, and either all or none of them are kept.
// Other writers, of this process or another, wait meanwhile; readers go on undisturbed.
//
// Scopes may be nested: an inner one that ends without Commit takes back its own writes alone, and what
// it committed becomes durable with the outermost. A scope belongs to the thread that made it and ends
// there. Without Commit the destructor takes everything back.
class SPS_API RegistryTransaction {
public:
  RegistryTransaction();
  ~RegistryTransaction();
  RegistryTransaction(const RegistryTransaction&) = delete;
  RegistryTransaction& operator=(const RegistryTransaction&) = delete;

  // 0, or why the transaction could not begin; every registry write in the scope then gives that number.
  LSTATUS Status() const;

  // Keeps the writes: on disk at the return of the outermost scope's Commit. After a failure nothing of
  // them was kept. A second call gives ERROR_INVALID_HANDLE.
  LSTATUS Commit();

private:
  struct State;
  std::unique_ptr<State> m_state;
};
