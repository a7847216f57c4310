#include "platform/registry/RegistryView.h"

#include "platform/registry/Thread.h"

RegistryView::RegistryView(Extent extent) : m_isWhole(extent == Extent::Store) {
  registry::ThreadState::get().beginView(m_isWhole);
}

RegistryView::~RegistryView() {
  registry::ThreadState::get().endView(m_isWhole);
}
