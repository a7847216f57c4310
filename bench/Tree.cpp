#include "bench/Tree.h"

#include <algorithm>
#include <memory>
#include <random>
#include <stdexcept>
#include <string_view>

#include "platform/registry/RegistryTransaction.h"
#include "src/RgNode.h"
#include "src/spc.h"

namespace bench {

namespace {

constexpr std::string_view letters = "SIDTB";

std::string numbered(std::string_view name, std::uint32_t number, std::size_t digits) {
  const std::string text = std::to_string(number);
  return std::string(name) + std::string(digits - std::min(digits, text.size()), '0') + text;
}

std::u16string widened(const std::string& ascii) {
  return {ascii.begin(), ascii.end()};
}

Access makeAccess(std::uint32_t topic, const std::string& name, std::uint32_t value) {
  Access access{{}, {}, {}, value};
  const std::string topicName = numbered("Area", topic, 5);
  std::ranges::copy(topicName, access.topic);
  std::ranges::copy(name, access.name);
  std::ranges::copy("/" + topicName + "/" + name, access.key);
  return access;
}

void shuffle(std::vector<std::uint32_t>& indices) {
  std::ranges::shuffle(indices, std::mt19937{20240229});
}

// Commits now and then: one transaction for a million parameters would outgrow the memory.
class Writer {
public:
  void open(const std::u16string& path) {
    if (m_written++ % 5000 == 0) renew();
    require(m_node.Init(path.c_str(), true, false), path);
  }
  template <class Value>
  void set(const char16_t* name, const Value& value) {
    require(m_node.SetValue(name, value), name);
  }
  void setBytes(const char16_t* name, const void* data, std::size_t count) {
    require(m_node.SetValue(name, static_cast<const std::uint8_t*>(data), static_cast<std::uint32_t>(count)),
            name);
  }
  void setLetter(const char16_t* name, char letter) {
    const std::uint8_t bytes[] = {static_cast<std::uint8_t>(letter), 0};
    setBytes(name, bytes, sizeof bytes);
  }
  void commit() {
    if (m_transaction) require(m_transaction->Commit() == ERROR_SUCCESS, u"commit");
    m_transaction.reset();
  }

private:
  void renew() {
    commit();
    m_transaction = std::make_unique<RegistryTransaction>();
  }
  static void require(bool done, const std::u16string& what) {
    if (!done) throw std::runtime_error("cannot make " + std::string(what.begin(), what.end()));
  }

  std::uint32_t m_written = 0;
  std::unique_ptr<RegistryTransaction> m_transaction;
  RgNode m_node;
};

template <class Value>
void setNumber(Writer& writer, const char16_t* name, std::uint32_t value) {
  const auto number = numberOf<Value>(value);
  writer.setBytes(name, &number, sizeof number);
}

void setValue(Writer& writer, const char16_t* name, char letter, std::uint32_t value) {
  switch (letter) {
    case 'B':
      return setNumber<bool>(writer, name, value);
    case 'D':
      return setNumber<double>(writer, name, value);
    case 'I':
      return writer.set(name, numberOf<std::int32_t>(value));
    case 'T':
      return setNumber<std::int64_t>(writer, name, value);
    default:
      return writer.set(name, UnicodeString(textOf(value).c_str()));
  }
}

void makeParameter(Writer& writer, const Access& access, Kind kind) {
  writer.open(topicPath(access.topic) + u"\\" + access.name);
  writer.setLetter(Spc::m_pTYPE, kind.letter);
  setValue(writer, Spc::m_pVAL, kind.letter, access.value);
  if (!kind.isOverridden) return;
  writer.setLetter(Spc::m_pOVERRIDE, 'U');
  setValue(writer, user, kind.letter, overrideOf(access.value));
}

void makeOverrides(Writer& writer, const char16_t* name, std::uint32_t users) {
  const std::u16string path = topicPath(wideTopic) + u"\\" + name;
  writer.open(path);
  writer.setLetter(Spc::m_pTYPE, 'S');
  writer.setLetter(Spc::m_pOVERRIDE, 'U');
  for (std::uint32_t index = 0; index < users; ++index) {
    writer.open(path);
    setValue(writer, userAt(index).c_str(), 'S', index);
  }
}

void makeChildren(Writer& writer, const char16_t* topic, std::uint32_t count) {
  for (std::uint32_t index = 0; index < count; ++index) {
    writer.open(topicPath(topic) + u"\\" + childAt(index));
  }
}

std::vector<Access> inOrder(const std::vector<std::uint32_t>& indices, Access (*access)(std::uint32_t)) {
  std::vector<Access> order;
  order.reserve(indices.size());
  for (const std::uint32_t index : indices) order.push_back(access(index));
  return order;
}

}  // namespace

Access parameterAt(std::uint32_t index) {
  return makeAccess(index / topicSize, numbered("SetPoint", index % topicSize, 2), index);
}

Access counterOf(std::uint32_t topic) {
  return makeAccess(topic, "Counter", topic);
}

Kind kindOf(Shape shape, std::uint32_t index) {
  if (shape == Shape::Strings) return plainText;
  return {letters[index % letters.size()], index / letters.size() % 2 != 0};
}

std::vector<Access> readOrder(Shape shape, std::uint32_t size, Kind kind, std::uint32_t limit) {
  std::vector<std::uint32_t> indices;
  for (std::uint32_t index = 0; index < size; ++index) {
    if (kindOf(shape, index) == kind) indices.push_back(index);
  }
  shuffle(indices);
  if (indices.size() > limit) indices.resize(limit);
  return inOrder(indices, parameterAt);
}

std::vector<Access> writeOrder(std::uint32_t size) {
  std::vector<std::uint32_t> topics(size / topicSize);
  for (std::uint32_t topic = 0; topic < topics.size(); ++topic) topics[topic] = topic;
  shuffle(topics);
  return inOrder(topics, counterOf);
}

std::vector<Access> contents(std::uint32_t size) {
  std::vector<Access> all;
  all.reserve(size + size / topicSize);
  for (std::uint32_t index = 0; index < size; ++index) {
    if (index % topicSize == 0) all.push_back(counterOf(index / topicSize));
    all.push_back(parameterAt(index));
  }
  return all;
}

std::string textOf(std::uint32_t value) {
  return numbered("The set point of this pump is ", value, 10);
}

void makeTree(Shape shape, std::uint32_t size) {
  Writer writer;
  for (std::uint32_t index = 0; index < size; ++index) {
    if (shape == Shape::Strings && index % topicSize == 0) {
      makeParameter(writer, counterOf(index / topicSize), plainText);
    }
    makeParameter(writer, parameterAt(index), kindOf(shape, index));
  }
  writer.commit();
}

std::u16string userAt(std::uint32_t index) {
  return widened(numbered("user", index, 6));
}

std::u16string childAt(std::uint32_t index) {
  return widened(numbered("Child", index, 6));
}

std::u16string topicPath(const char16_t* topic) {
  static const std::u16string root = [] {
    Spc spc;
    spc.Init();
    return std::u16string((spc.GetRootName() + u"\\" + spc.GetPrcSpaceName() + u"\\").View());
  }();
  return root + topic;
}

void makeWideTree(std::uint32_t many) {
  Writer writer;
  makeOverrides(writer, readFew, fewUsers);
  makeOverrides(writer, readMany, many);
  makeOverrides(writer, writeFew, fewUsers);
  makeOverrides(writer, writeMany, many);
  makeChildren(writer, narrowWalk, fewChildren);
  makeChildren(writer, wideWalk, many);
  writer.commit();
}

}  // namespace bench
