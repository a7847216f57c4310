// Random operations on the store and on a model of it, which must never differ.
#include <gmock/gmock.h>

#include <map>
#include <random>

#include "tests/registry/RegistryTest.h"

namespace regtest {
namespace {

struct ModelValue {
  std::u16string name;
  Value stored;
};

struct ModelKey {
  std::u16string name;
  std::uint64_t id;
  bool isVolatile;
  std::map<std::u16string, ModelValue> values;
};

std::u16string fold(std::u16string text) {
  for (char16_t& c : text) {
    if (c >= u'A' && c <= u'Z') c = static_cast<char16_t>(c + 32);
  }
  return text;
}

std::u16string parentOf(const std::u16string& path) {
  const std::size_t end = path.rfind(u'\\');
  return end == std::u16string::npos ? u"" : path.substr(0, end);
}

// The keys by their folded paths below a hive; the empty one is the hive.
struct Model {
  std::map<std::u16string, ModelKey> keys{{u"", {u"", 0, false, {}}}};
  std::uint64_t nextId = 1;  // a number does not come back, not even after what had it was taken back

  // The sub keys in order.
  Names children(const std::u16string& path) const {
    const std::u16string start = path.empty() ? u"" : path + u"\\";
    Names names;
    for (auto key = keys.lower_bound(start); key != keys.end() && key->first.starts_with(start); ++key) {
      const bool isBelow = key->first.size() > start.size();
      if (isBelow && key->first.find(u'\\', start.size()) == key->first.npos)
        names.push_back(key->second.name);
    }
    return names;
  }

  // The number for a create, and the key where it was made.
  LSTATUS create(const std::u16string& path, bool isVolatile, DWORD& disposition) {
    disposition = REG_OPENED_EXISTING_KEY;
    if (keys.contains(fold(path))) return 0;
    std::u16string at = path;
    while (!keys.contains(fold(at))) at = parentOf(at);
    if (keys.at(fold(at)).isVolatile && !isVolatile) return ERROR_CHILD_MUST_BE_VOLATILE;
    disposition = REG_CREATED_NEW_KEY;
    while (at != path) {
      const std::size_t start = at.empty() ? 0 : at.size() + 1;
      const std::u16string name = path.substr(start, path.find(u'\\', start) - start);
      at = at.empty() ? name : path.substr(0, start) + name;
      keys[fold(at)] = {name, nextId++, isVolatile, {}};
    }
    return 0;
  }

  LSTATUS remove(const std::u16string& path) {
    const auto key = keys.find(fold(path));
    if (key == keys.end()) return ERROR_FILE_NOT_FOUND;
    if (key->first.empty() || !children(key->first).empty()) return ERROR_ACCESS_DENIED;
    keys.erase(key);
    return 0;
  }
};

// A handle that is kept while its key comes and goes.
struct Kept {
  Key handle;
  std::u16string path;
  std::uint64_t id;
};

class RegistryModel : public ::testing::Test {
protected:
  std::size_t below(std::size_t count) { return m_random() % count; }

  std::u16string anyCase(std::u16string name) {
    for (char16_t& c : name) {
      if (c >= u'a' && c <= u'z' && below(2) == 0) c = static_cast<char16_t>(c - 32);
    }
    return name;
  }
  std::u16string anyName() {
    static const std::u16string kanji(200, u'\u4E00');
    static const std::u16string names[] = {u"a",
                                           u"b",
                                           u"key one",
                                           u"\U0001F600\U0001F600",
                                           u"\u65E5",
                                           u"\u672C\u8A9E",
                                           kanji + u"x",
                                           kanji + u"y",
                                           std::u16string(70, u'n')};
    return anyCase(names[below(std::size(names))]);
  }
  // The hive gets more values than its record holds.
  std::u16string anyValueName(const std::u16string& path) {
    return path.empty() && below(2) == 0 ? u"value " + digits(static_cast<int>(below(40))) : anyName();
  }
  std::u16string anyPath() {
    std::u16string path = anyName();
    for (std::size_t more = below(3); more > 0; --more) path += u"\\" + anyName();
    return path;
  }
  std::u16string knownPath() {
    if (below(8) == 0) return u"";
    return std::next(m_model.keys.begin(), static_cast<std::ptrdiff_t>(below(m_model.keys.size())))->first;
  }
  std::string anyData() {
    static const std::size_t sizes[] = {0, 1, 2, 8, 40, 255, 256, 257, 900, 5000};
    return std::string(sizes[below(std::size(sizes))], static_cast<char>('a' + below(26)));
  }

  void compareKey(const std::u16string& path) {
    const ModelKey& expected = m_model.keys.at(path);
    const Key key = Key::open(HKEY_USERS, path);
    ASSERT_EQ(key.status(), 0);
    const Names subKeys = m_model.children(path);
    Names values;
    Info info{static_cast<DWORD>(subKeys.size()), 0, static_cast<DWORD>(expected.values.size()), 0, 0};
    const auto longer = [](DWORD& longest, const auto& text) {
      longest = std::max(longest, static_cast<DWORD>(text.size()));
    };
    for (const std::u16string& name : subKeys) longer(info.maxSubKey, name);
    for (const auto& [folded, value] : expected.values) {
      ASSERT_EQ(getValue(key, anyCase(value.name)), value.stored);
      values.push_back(value.name);
      longer(info.maxName, value.name);
      longer(info.maxData, value.stored.data);
    }
    ASSERT_EQ(infoOf(key), info) << support::toUtf8(path);
    // Names beyond the store's index sort by a hash; there the order is the store's own.
    ASSERT_THAT(subKeysOf(key), testing::UnorderedElementsAreArray(subKeys));
    ASSERT_THAT(valueNamesOf(key), testing::UnorderedElementsAreArray(values));
  }

  void compareNowAndThen(const std::u16string& path) {
    if (below(4) == 0) compareKey(path);
  }

  void compareAll() {
    for (const auto& [path, key] : m_model.keys) {
      compareKey(path);
      if (HasFatalFailure()) return;
    }
  }

  void createKey() {
    const std::u16string path = anyPath();
    const bool isVolatile = below(8) == 0;
    DWORD disposition = 0;
    const LSTATUS expected = m_model.create(path, isVolatile, disposition);
    Key key = Key::create(HKEY_USERS, path, isVolatile ? REG_OPTION_VOLATILE : REG_OPTION_NON_VOLATILE);
    ASSERT_EQ(key.status(), expected);
    if (expected != 0) return;
    ASSERT_EQ(key.disposition(), disposition);
    const std::u16string folded = fold(path);
    compareNowAndThen(parentOf(folded));
    if (below(4) == 0) m_kept.push_back({std::move(key), folded, m_model.keys.at(folded).id});
  }
  void deleteKey() {
    const std::u16string path = below(2) == 0 ? knownPath() : anyPath();
    const LSTATUS expected = m_model.remove(path);
    ASSERT_EQ(RegDeleteKeyW(HKEY_USERS, anyCase(path).c_str()), expected);
    if (expected == 0) compareNowAndThen(parentOf(fold(path)));
  }
  void writeValue() {
    const std::u16string path = knownPath();
    const std::u16string name = anyValueName(path);
    const std::string data = anyData();
    const auto type = static_cast<DWORD>(below(12));
    ASSERT_EQ(setValue(Key::open(HKEY_USERS, path), name, data, type), 0);
    auto& values = m_model.keys.at(path).values;
    const auto known = values.find(fold(name));
    values[fold(name)] = {known == values.end() ? name : known->second.name, {0, data, type}};
    compareNowAndThen(path);
  }
  void deleteValue() {
    const std::u16string path = knownPath();
    const std::u16string name = anyValueName(path);
    const bool existed = m_model.keys.at(path).values.erase(fold(name)) > 0;
    ASSERT_EQ(RegDeleteValueW(Key::open(HKEY_USERS, path), name.c_str()), existed ? 0 : ERROR_FILE_NOT_FOUND);
    compareNowAndThen(path);
  }
  void lookThroughAKeptHandle() {
    if (m_kept.empty()) return;
    const std::size_t which = below(m_kept.size());
    Kept& kept = m_kept[which];
    const auto key = m_model.keys.find(kept.path);
    const bool lives = key != m_model.keys.end() && key->second.id == kept.id;
    const std::u16string name = anyName();
    const bool exists = lives && key->second.values.contains(fold(name));
    const LSTATUS otherwise = lives ? ERROR_FILE_NOT_FOUND : ERROR_KEY_DELETED;
    ASSERT_EQ(getValue(kept.handle, name).status, exists ? 0 : otherwise);
    if (below(4) == 0) {
      ASSERT_EQ(kept.handle.close(), 0);
      m_kept.erase(m_kept.begin() + static_cast<std::ptrdiff_t>(which));
    }
  }
  void beginTransaction() {
    if (m_transactions.size() == 3) return;
    m_before.push_back(m_model);
    m_transactions.push_back(std::make_unique<RegistryTransaction>());
    ASSERT_EQ(m_transactions.back()->Status(), 0);
  }
  void endTransaction() {
    if (m_transactions.empty()) return;
    if (below(2) == 0) {
      ASSERT_EQ(m_transactions.back()->Commit(), 0);
    } else {
      const std::uint64_t next = m_model.nextId;
      m_model = m_before.back();
      m_model.nextId = next;
    }
    m_transactions.pop_back();
    m_before.pop_back();
    if (below(8) == 0) compareAll();
  }
  void reopen() {
    if (!m_transactions.empty()) return;
    m_kept.clear();
    m_store.use();
  }

  void step() {
    using Step = void (RegistryModel::*)();
    static const struct {
      std::size_t share;  // of 1000
      Step run;
    } steps[] = {{200, &RegistryModel::createKey},
                 {130, &RegistryModel::deleteKey},
                 {320, &RegistryModel::writeValue},
                 {120, &RegistryModel::deleteValue},
                 {150, &RegistryModel::lookThroughAKeptHandle},
                 {38, &RegistryModel::beginTransaction},
                 {40, &RegistryModel::endTransaction},
                 {2, &RegistryModel::reopen}};
    std::size_t at = below(1000);
    for (const auto& [share, run] : steps) {
      if (at < share) return (this->*run)();
      at -= share;
    }
  }

  TempStore m_store;
  std::mt19937 m_random;
  Model m_model;
  std::vector<Model> m_before;
  std::vector<std::unique_ptr<RegistryTransaction>> m_transactions;
  std::vector<Kept> m_kept;
};

}  // namespace

TEST_F(RegistryModel, TwentyThousandRandomOperations) {
  const unsigned seed = setting("SPS_SEED", 20'240'613);
  std::printf("seed %u (SPS_SEED chooses another)\n", seed);
  m_random.seed(seed);
  for (int number = 0; number < 20'000; ++number) {
    step();
    if (number % 1000 == 0) compareAll();
    ASSERT_FALSE(HasFatalFailure()) << "in operation " << number;
  }
  while (!m_transactions.empty()) endTransaction();
  compareAll();
  reopen();
  compareAll();
  EXPECT_EQ(verifyFinding(), "");
}

}  // namespace regtest
