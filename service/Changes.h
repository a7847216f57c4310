// The requests that change the tree: each one a change, made from its telegram on an I/O thread, applied
// by the writer.
#pragma once

#include <memory>
#include <string>

#include "service/Audit.h"
#include "service/Telegrams.h"

namespace service {

// One change, in two steps inside one transaction: what refuses it by what the tree holds, and the writing.
class Change {
public:
  Change() = default;
  Change(const Change&) = delete;
  Change& operator=(const Change&) = delete;
  virtual ~Change() = default;

  // 0, or why it must not be. Writes nothing. The node is left open for the second step, where there is one
  // that the change is about. Both may run again where a transaction could not be kept, and then begin anew.
  virtual Code Check(Tree& tree, Node& node) = 0;
  // May have written part of it where it gives a code.
  virtual Code Make(Tree& tree, Node& node) = 0;
  // One that takes so long that no other shall wait for its commit, or fail with it.
  virtual bool IsLarge() const { return false; }

  Deed deed;
  bool byAdministrator = false;
  Replies replies;  // filled by Make
};

// Makes the change that a telegram asks for. One whose telegram is incomplete or makes no sense refuses
// (87) when it is checked, so that it is audited like any other. Null for a request that changes nothing by
// itself: the reads and the pieces of an import.
std::unique_ptr<Change> makeChange(telegram::Request request, View telegram);

// Request 13: the import of a text that was collected, all of it or nothing.
std::unique_ptr<Change> makeImport(std::u16string text);

}  // namespace service
