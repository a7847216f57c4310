#include "platform/registry/RegistryView.h"

#include "platform/registry/Thread.h"

RegistryView::RegistryView() {
  registry::ThreadState::get().beginView();
}

RegistryView::~RegistryView() {
  registry::ThreadState::get().endView();
}
