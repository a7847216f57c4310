#include <algorithm>
#include <array>
#include <cstring>
#include <span>
#include <string>
#include <unordered_map>
#include <vector>

#include "platform/registry/Admin.h"
#include "platform/registry/Fold.h"
#include "platform/registry/Record.h"
#include "platform/registry/Tree.h"
#include "platform/support/Utf.h"

namespace registry {
namespace {

// What belongs to a key.
struct Tally {
  std::uint32_t subKeys = 0;
  std::uint32_t outside = 0;
  std::uint32_t longestSubKey = 0;
  std::uint32_t longestValue = 0;
  std::uint32_t largestData = 0;
  bool operator==(const Tally&) const = default;
};

// What the table of sizes has of one kind.
struct Sizes {
  std::uint32_t count = 0;
  std::uint32_t longest = 0;
};

struct Account {
  Tally claimed;
  Tally found;
  Tally foundOutside;
  std::array<Sizes, 3> sizes;  // of sub key names, outside value names, outside data
  bool exists = false;
};

void add(std::uint32_t& longest, std::size_t length) {
  longest = std::max(longest, static_cast<std::uint32_t>(length));
}

class Verifier {
public:
  Verifier(MDB_txn* txn, const Tables& tables) : m_txn(txn), m_tables(tables) {
    m_accounts[rootId].exists = true;
  }

  // Throws the first finding as text.
  void run() {
    eachEntry(m_tables.meta, [](auto, auto record) { (void)unsealed(record); });
    eachEntry(m_tables.nodes, [this](auto key, auto record) { checkNode(key, record); });
    eachEntry(m_tables.values, [this](auto key, auto record) { checkValue(key, record); });
    eachEntry(m_tables.sizes, [this](auto key, auto record) { addSize(key, record); });
    eachEntry(m_tables.volatiles, [this](auto key, auto record) { checkVolatile(key, record); });
    for (const auto& [id, account] : m_accounts) checkAccount(id, account);
    checkFreePages();
  }

private:
  template <class Check>
  void eachEntry(MDB_dbi table, Check checkEntry) {
    Cursor cursor(m_txn, table);
    for (bool found = cursor.first(); found; found = cursor.next()) {
      try {
        checkEntry(cursor.key(), cursor.data());
      } catch (const Failure&) {
        if (table == m_tables.meta)
          throw "the store's record \"" + std::string(cursor.key()) + "\" is damaged";
        throw "a record of key " + std::to_string(ownerOf(cursor.key())) + " is damaged";
      }
    }
  }

  static std::uint64_t ownerOf(std::string_view key) { return EntryKey::fromBytes(key).owner(); }

  void checkNode(std::string_view key, std::string_view record) {
    if (isTable(key)) return;
    m_view.decode(record);
    const NodeHeader& header = m_view.header();
    checkPlace(key, m_view.name());
    Account& account = m_accounts[header.id];
    if (account.exists) throw "the key \"" + std::string(m_view.name()) + "\" stands twice";
    account.exists = true;
    account.claimed = {header.subKeys, header.outside, header.maxSubKeyName, header.maxValueName,
                       header.maxValueData};
    std::uint32_t values = header.outside;
    for (const InlineValue value : m_view) {
      ++values;
      add(account.found.longestValue, utf16Length(value.name));
      add(account.found.largestData, value.data.size());
    }
    if (header.values != values) {
      throw "the key \"" + std::string(m_view.name()) + "\" miscounts its values";
    }
    Tally& parent = m_accounts[ownerOf(key)].found;
    ++parent.subKeys;
    add(parent.longestSubKey, utf16Length(m_view.name()));
  }

  void checkValue(std::string_view key, std::string_view record) {
    const OutsideValue value = OutsideValue::decode(record);
    checkPlace(key, value.name);
    Account& account = m_accounts[ownerOf(key)];
    for (Tally* tally : {&account.found, &account.foundOutside}) {
      ++tally->outside;
      add(tally->longestValue, utf16Length(value.name));
      add(tally->largestData, value.data.size());
    }
  }

  void addSize(std::string_view key, std::string_view record) {
    constexpr std::size_t kindAt = sizeof(std::uint64_t);
    const std::string_view count = unsealed(record);
    std::uint32_t number = 0;
    const std::size_t kind =
        key.size() > kindAt ? static_cast<unsigned char>(key[kindAt]) - std::size_t{1} : 3;
    if (kind >= 3 || count.size() != sizeof number) throw Failure(ERROR_REGISTRY_CORRUPT);
    std::memcpy(&number, count.data(), sizeof number);
    Sizes& sizes = m_accounts[ownerOf(key)].sizes[kind];
    sizes.count += number;
    add(sizes.longest, lengthOf(key));
  }

  void checkVolatile(std::string_view key, std::string_view record) {
    (void)unsealed(record);
    const auto known = m_accounts.find(ownerOf(key));
    if (known == m_accounts.end()) throw "volatile key " + std::to_string(ownerOf(key)) + " is missing";
  }

  // LMDB's table 0 holds, a transaction each, a count and the pages that became free, descending. One that
  // is wrong would have pages in use written over.
  void checkFreePages() {
    constexpr MDB_dbi freePages = 0;
    MDB_envinfo info{};
    check(mdb_env_info(mdb_txn_env(m_txn), &info));
    std::vector<bool> isFree(info.me_last_pgno + 1);
    Cursor cursor(m_txn, freePages);
    for (bool found = cursor.first(); found; found = cursor.next()) {
      std::vector<std::size_t> pages(cursor.data().size() / sizeof(std::size_t));
      if (pages.empty()) throw std::string("the list of free pages is damaged");
      std::memcpy(pages.data(), cursor.data().data(), pages.size() * sizeof(std::size_t));
      if (pages[0] >= pages.size()) throw std::string("the list of free pages is damaged");
      for (const std::size_t page : std::span(pages).subspan(1, pages[0])) {
        const bool isRight = page > 1 && page < isFree.size() && !isFree[page];
        if (!isRight) throw std::string("the list of free pages is damaged");
        isFree[page] = true;
      }
    }
  }

  static void checkPlace(std::string_view key, std::string_view name) {
    const FoldedName folded(support::toUtf16(name));
    if (EntryKey(ownerOf(key), folded.view()).bytes() != key) {
      throw "\"" + std::string(name) + "\" is not in its place";
    }
  }

  static void checkAccount(std::uint64_t id, const Account& account) {
    const std::string who = "key " + std::to_string(id);
    if (!account.exists) throw who + " is missing, though others belong to it";
    if (id == rootId) return;
    const auto& [subKeys, names, data] = account.sizes;
    const Tally& found = account.found;
    const Tally& outside = account.foundOutside;
    const bool isCounted = subKeys.count == found.subKeys && names.count == outside.outside &&
                           data.count == outside.outside && subKeys.longest == found.longestSubKey &&
                           names.longest == outside.longestValue && data.longest == outside.largestData;
    if (account.claimed != found || !isCounted) throw who + " miscounts what belongs to it";
  }

  MDB_txn* m_txn;
  const Tables& m_tables;
  NodeView m_view;
  std::unordered_map<std::uint64_t, Account> m_accounts;
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
