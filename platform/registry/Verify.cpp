#include <unordered_map>

#include "platform/registry/Admin.h"
#include "platform/registry/Fold.h"
#include "platform/registry/Record.h"
#include "platform/support/Utf.h"

namespace registry {
namespace {

// What a key claims about what belongs to it, and what was found.
struct Claim {
  std::uint32_t subKeys = 0;
  std::uint32_t outside = 0;
  std::uint32_t subKeysFound = 0;
  std::uint32_t outsideFound = 0;
  bool exists = false;
};

class Verifier {
public:
  Verifier(MDB_txn* txn, const Tables& tables) : m_txn(txn), m_tables(tables) {
    m_claims[rootId].exists = true;
  }

  // Throws the first finding as text.
  void run() {
    eachEntry(m_tables.nodes, [this](auto key, auto record) { checkNode(key, record); });
    eachEntry(m_tables.values, [this](auto key, auto record) { checkValue(key, record); });
    eachEntry(m_tables.sizes, [](auto, auto record) { (void)unsealed(record); });
    for (const auto& [id, claim] : m_claims) checkClaim(id, claim);
  }

private:
  template <class Check>
  void eachEntry(MDB_dbi table, Check checkEntry) {
    Cursor cursor(m_txn, table);
    for (bool found = cursor.first(); found; found = cursor.next()) {
      try {
        checkEntry(cursor.key(), cursor.data());
      } catch (const Failure&) {
        throw std::string("a record of key ") + std::to_string(ownerOf(cursor.key())) + " is damaged";
      }
    }
  }

  static std::uint64_t ownerOf(std::string_view key) { return EntryKey::fromBytes(key).owner(); }

  void checkNode(std::string_view key, std::string_view record) {
    m_view.decode(record);
    const NodeHeader& header = m_view.header();
    checkPlace(key, m_view.name());
    Claim& claim = m_claims[header.id];
    if (claim.exists) throw "the key \"" + std::string(m_view.name()) + "\" stands twice";
    claim.exists = true;
    claim.subKeys = header.subKeys;
    claim.outside = header.outside;
    std::uint32_t values = header.outside;
    for (auto value = m_view.begin(); value != m_view.end(); ++value) ++values;
    if (header.values != values) {
      throw "the key \"" + std::string(m_view.name()) + "\" miscounts its values";
    }
    ++m_claims[ownerOf(key)].subKeysFound;
  }

  void checkValue(std::string_view key, std::string_view record) {
    checkPlace(key, OutsideValue::decode(record).name);
    ++m_claims[ownerOf(key)].outsideFound;
  }

  static void checkPlace(std::string_view key, std::string_view name) {
    const FoldedName folded(support::toUtf16(name));
    if (EntryKey(ownerOf(key), folded.view()).bytes() != key) {
      throw "\"" + std::string(name) + "\" is not in its place";
    }
  }

  static void checkClaim(std::uint64_t id, const Claim& claim) {
    const std::string who = "key " + std::to_string(id);
    if (!claim.exists) throw who + " is missing, though others belong to it";
    if (id != rootId && claim.subKeys != claim.subKeysFound) throw who + " miscounts its sub keys";
    if (claim.outside != claim.outsideFound) throw who + " miscounts its values";
  }

  MDB_txn* m_txn;
  const Tables& m_tables;
  NodeView m_view;
  std::unordered_map<std::uint64_t, Claim> m_claims;
};

}  // namespace

LSTATUS verify(const Store& store, std::string& finding) {
  try {
    const TxnPtr txn = store.begin(nullptr, MDB_RDONLY);
    Verifier(txn.get(), store.tables()).run();
    return ERROR_SUCCESS;
  } catch (const std::string& found) {
    finding = found;
  } catch (const Failure& failure) {
    if (failure.number() != ERROR_REGISTRY_CORRUPT) return failure.number();
    finding = "the tree of pages is damaged";
  }
  return ERROR_REGISTRY_CORRUPT;
}

}  // namespace registry
