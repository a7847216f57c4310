// The requests that change the tree: each one a change, made from its telegram on an I/O thread, applied
// by the writer.
#pragma once

#include <memory>
#include <string>

#include "service/Audit.h"
#include "service/Telegrams.h"

namespace service {

// One change. It is applied inside a transaction, which keeps what it did only if it gives 0.
class Change {
public:
  Change() = default;
  Change(const Change&) = delete;
  Change& operator=(const Change&) = delete;
  virtual ~Change() = default;

  // May run again where a transaction could not be kept, and then begins anew.
  virtual Code Apply(Tree& tree) = 0;
  // One that takes so long that no other shall wait for its commit, or fail with it.
  virtual bool IsLarge() const { return false; }

  Deed deed;
  bool byAdministrator = false;
  Replies replies;  // filled by Apply
};

// Makes the change that a telegram asks for. One whose telegram is incomplete or makes no sense refuses
// (87) when it is applied, so that it is audited like any other. Null for a request that changes nothing by
// itself: the reads and the pieces of an import.
std::unique_ptr<Change> makeChange(telegram::Request request, View telegram);

// Request 13: the import of a text that was collected, all of it or nothing.
std::unique_ptr<Change> makeImport(std::u16string text);

}  // namespace service
