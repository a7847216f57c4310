#include "platform/registry/RegistryTransaction.h"

#include "platform/registry/Thread.h"

struct RegistryTransaction::State {
  registry::WriteScope scope;
};

RegistryTransaction::RegistryTransaction() : m_state(std::make_unique<State>()) {
  registry::ThreadState::get().beginScope(m_state->scope);
}

RegistryTransaction::~RegistryTransaction() {
  m_state->scope.thread->endScope(m_state->scope);
}

LSTATUS RegistryTransaction::Status() const {
  return m_state->scope.failure;
}

LSTATUS RegistryTransaction::Commit() {
  return m_state->scope.thread->commitScope(m_state->scope);
}
