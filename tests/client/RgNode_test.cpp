#include <stdlib.h>

#include <memory>
#include <thread>

#include "platform/registry/RegistryView.h"
#include "tests/client/ClientTest.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

constexpr const char16_t* root = u"HKEY_LOCAL_MACHINE\\Node";

class RgNodeTest : public ClientTest {
protected:
  RgNodeTest() { EXPECT_TRUE(node.Init(root, true, false)); }

  static bool Make(const std::u16string& below) {
    RgNode made;
    return made.Init((std::u16string(root) + u"\\" + below).c_str(), true, false);
  }
  static bool Exists(const std::u16string& below) {
    RgNode found;
    return found.Init((std::u16string(root) + u"\\" + below).c_str(), false, false);
  }
  bool Store(const char16_t* name, std::uint32_t type, const std::vector<std::uint8_t>& bytes) {
    return node.SetValue(name, bytes.data(), std::uint32_t(bytes.size()), type) &&
           node.Init(root, false, false);
  }
  bool StoreText(const char16_t* name, std::uint32_t type, const std::u16string& text) {
    const auto* bytes = reinterpret_cast<const std::uint8_t*>(text.data());
    return Store(name, type, {bytes, bytes + text.size() * 2});
  }

  OpenNode node;
};

bool isOpen(HKEY key) {
  return RegQueryInfoKeyW(key, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                          nullptr, nullptr, nullptr) == ERROR_SUCCESS;
}

TEST_F(RgNodeTest, InitSplitsThePathAtTheHive) {
  const struct {
    const char16_t* path;
    std::int32_t retCode;
    const char16_t* name;
    std::vector<std::string> traces;
  } cases[] = {
      {u"HKEY_LOCAL_MACHINE", 6, u"HKEY_LOCAL_MACHINE", {}},
      {u"", 6, u"", {}},
      {nullptr, 6, u"", {}},
      {u"HKEY_NOWHERE\\a\\b", 6, u"a\\b", {}},
      {u"hkey_local_machine\\Node", 6, u"Node", {}},
      {u"HKEY_LOCAL_MACHINE\\", 0, u"", {}},
      {u"HKEY_CLASSES_ROOT\\", 0, u"", {}},
      {u"HKEY_CURRENT_USER\\", 0, u"", {}},
      {u"HKEY_USERS\\", 0, u"", {}},
      {u"HKEY_LOCAL_MACHINE\\nODE", 0, u"nODE", {}},
      {u"HKEY_USERS\\Node", 2, u"Node", {openFailed("HKEY_USERS\\Node")}},
  };
  for (const auto& c : cases) {
    OpenNode fresh;
    ASSERT_TRUE(fresh.Init(root, false, false));
    const bool done = fresh.Init(c.path, false, false);
    SCOPED_TRACE(testing::PrintToString(UnicodeString(c.path)));
    EXPECT_EQ(done, c.retCode == 0);
    EXPECT_EQ(fresh.GetRetCode(), c.retCode);
    EXPECT_EQ(fresh.GetNodeName(), c.name);
    EXPECT_EQ(fresh.GetNodePath(), done ? UnicodeString(c.path) : UnicodeString(root));
    EXPECT_EQ(fresh.m_hNode != 0, done);
    EXPECT_EQ(Lines(), c.traces);
  }
}

TEST_F(RgNodeTest, VolatileCountsForCreationOnly) {
  OpenNode made;
  EXPECT_TRUE(made.Init(root, false, true));
  EXPECT_FALSE(made.m_volatile);
  EXPECT_FALSE(made.IsNodeCreated());
  EXPECT_TRUE(made.Init(u"HKEY_USERS\\v", true, true));
  EXPECT_TRUE(made.Init(root, false, false));
  EXPECT_TRUE(made.IsNodeCreated()) << "opening says nothing of creation";
  EXPECT_FALSE(made.Init(u"HKEY_USERS\\v\\w", true, false));
  EXPECT_EQ(made.GetRetCode(), ERROR_CHILD_MUST_BE_VOLATILE);
  EXPECT_THAT(Lines(), ElementsAre(nodeTrace(1, R"( Creating node HKEY_USERS\v\w failed)")));
}

TEST_F(RgNodeTest, InitClosesTheKeyBeforeAnythingCanFail) {
  const HKEY before = node.m_hNode;
  EXPECT_FALSE(node.Init(u"NONE\\x", false, false));
  EXPECT_FALSE(isOpen(before));
  EXPECT_FALSE(node.SetValue(u"n", 1));
  EXPECT_EQ(node.GetRetCode(), ERROR_INVALID_HANDLE);
}

TEST_F(RgNodeTest, ACountedTextHasNoTerminatorOfItsOwn) {
  EXPECT_TRUE(node.SetValue(u"counted", u"abc", 2));
  std::vector<std::uint8_t> room(16);
  std::uint32_t size = 16;
  std::uint32_t type = 99;
  EXPECT_TRUE(node.GetValue(u"counted", room.data(), &size, type));
  room.resize(size);
  EXPECT_EQ(type, std::uint32_t{REG_SZ});
  EXPECT_THAT(room, ElementsAre('a', 0, 'b', 0));
}

TEST_F(RgNodeTest, ReadsTextAsFarAsItsBytesGo) {
  const std::u16string longText(3000, u'x');
  const std::pair<std::u16string, UnicodeString> cases[] = {{u"", u""},
                                                            {std::u16string(u"\0", 1), u""},
                                                            {u"plain", u"plain"},
                                                            {std::u16string(u"cut\0rest\0", 9), u"cut"},
                                                            {longText, UnicodeString(longText)}};
  UnicodeString text = u"stale text that is longer";
  for (const auto& [stored, wanted] : cases) {
    ASSERT_TRUE(StoreText(u"t", REG_SZ, stored));
    EXPECT_TRUE(node.GetValue(u"t", text));
    EXPECT_EQ(text, wanted);
  }
  ASSERT_TRUE(Store(u"t", REG_SZ, {'a', 0, 'b'}));
  EXPECT_TRUE(node.GetValue(u"t", text));
  EXPECT_EQ(text, u"a") << "half a character is none";
}

TEST_F(RgNodeTest, TextThatOutgrewTheNodesMaximumNeedsARefresh) {
  ASSERT_TRUE(StoreText(u"t", REG_SZ, u"ab"));
  ASSERT_TRUE(node.SetValue(u"t", UnicodeString(u"much longer")));
  UnicodeString text = u"kept";
  EXPECT_FALSE(node.GetValue(u"t", text));
  EXPECT_EQ(node.GetRetCode(), ERROR_MORE_DATA);
  EXPECT_EQ(text, u"kept");
  EXPECT_TRUE(node.Init(root, false, false) && node.GetValue(u"t", text));
  EXPECT_EQ(text, u"much longer");
}

TEST_F(RgNodeTest, ReadsTextIntoABuffer) {
  ::setenv("SPS_TEST_WHERE", "/opt/plant", 1);
  const struct {
    std::u16string stored;
    std::uint32_t type;
    std::uint32_t capacity;
    std::int32_t retCode;
    const char16_t* text;
  } cases[] = {{std::u16string(u"abc\0", 4), REG_SZ, 4, 0, u"abc"},
               {std::u16string(u"abc\0", 4), REG_SZ, 3, 234, nullptr},
               {u"abc", REG_SZ, 4, 0, u"abc"},
               {u"abc", REG_SZ, 3, 0, u"abc"},
               {u"abc", REG_SZ, 2, 234, nullptr},
               {u"abc", REG_EXPAND_SZ, 3, 0, u"ab"},
               {u"S", REG_BINARY, 1, 0, u"S"},
               {u"", REG_SZ, 1, 0, u""},
               {u"", REG_SZ, 0, 234, nullptr},
               {u"%SPS_TEST_WHERE%/x", REG_EXPAND_SZ, 32, 0, u"/opt/plant/x"},
               {u"%SPS_TEST_WHERE%/x", REG_SZ, 32, 0, u"%SPS_TEST_WHERE%/x"},
               {u"%SPS_TEST_WHERE%%SPS_TEST_WHERE%", REG_EXPAND_SZ, 40, 0, u"/opt/plant/opt/plant"},
               {u"%SPS_TEST_NONE%", REG_EXPAND_SZ, 32, 0, u"%SPS_TEST_NONE%"}};
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::PrintToString(UnicodeString(c.stored.c_str())));
    ASSERT_TRUE(StoreText(u"t", c.type, c.stored));
    std::vector<char16_t> buffer(c.capacity + 1, u'#');
    EXPECT_EQ(node.GetValue(u"t", buffer.data(), c.capacity), c.retCode == 0);
    EXPECT_EQ(node.GetRetCode(), c.retCode);
    if (c.text) {
      EXPECT_EQ(UnicodeString(std::u16string(buffer.data(), c.capacity).c_str()), c.text);
    }
    EXPECT_EQ(buffer[c.capacity], u'#') << "written past the capacity";
  }
  EXPECT_FALSE(node.GetValue(u"t", static_cast<char16_t*>(nullptr), 8));
  EXPECT_EQ(node.GetRetCode(), ERROR_INVALID_PARAMETER);
  EXPECT_TRUE(node.SetValue(u"t", 1));
  EXPECT_FALSE(node.GetValue(u"t", static_cast<std::uint8_t*>(nullptr), 4));
  EXPECT_EQ(node.GetRetCode(), ERROR_INVALID_PARAMETER);
}

TEST_F(RgNodeTest, CutsAnExpansionThatDoesNotFit) {
  ::setenv("SPS_TEST_W", "0123456789", 1);
  ASSERT_TRUE(StoreText(u"t", REG_EXPAND_SZ, std::u16string(u"%SPS_TEST_W%<\0", 14)));
  std::u16string buffer(14, u'#');
  EXPECT_TRUE(node.GetValue(u"t", buffer.data(), 14));
  EXPECT_EQ(UnicodeString(buffer.data()), u"0123456789<");
  ::setenv("SPS_TEST_W", "0123456789ABCDEFGH", 1);
  EXPECT_TRUE(node.GetValue(u"t", buffer.data(), 14));
  EXPECT_EQ(UnicodeString(buffer.data()), u"0123456789ABC");
  UnicodeString text;
  EXPECT_TRUE(node.GetValue(u"t", text));
  EXPECT_EQ(text, u"0123456789ABCDEFGH<");
}

TEST_F(RgNodeTest, AFlagIsTheValuesExistence) {
  bool flag = true;
  EXPECT_TRUE(node.GetValue(u"f", flag));
  EXPECT_FALSE(flag);
  EXPECT_TRUE(node.SetValue(u"f", false));
  EXPECT_TRUE(node.SetValue(u"f", true));
  EXPECT_EQ(node.GetValCnt(), 0U) << "a write refreshes no count";
  EXPECT_TRUE(node.SetValue(u"g", 7));
  EXPECT_TRUE(node.GetValue(u"f", flag));
  EXPECT_TRUE(flag);
  EXPECT_TRUE(node.SetValue(u"f", false));
  EXPECT_EQ(node.GetValCnt(), 1U) << "a deletion does";
  EXPECT_TRUE(node.GetValue(u"g", flag));
  EXPECT_TRUE(flag) << "whatever it holds";
  EXPECT_FALSE(node.Init(u"NONE\\x", false, false));
  EXPECT_FALSE(node.GetValue(u"g", flag));
  EXPECT_TRUE(flag) << "untouched";
}

TEST_F(RgNodeTest, CountsAndMaximaAreThoseOfTheLastRefresh) {
  ASSERT_TRUE(Make(u"sub") && Make(u"longer"));
  ASSERT_TRUE(node.SetValue(u"name", UnicodeString(u"abc")));
  EXPECT_EQ(node.GetSubNodeCnt(), 0U);
  ASSERT_TRUE(node.Init(root, false, false));
  EXPECT_EQ(node.GetSubNodeCnt(), 2U);
  EXPECT_EQ(node.GetMaxSubNodeNameLen(), 6U);
  EXPECT_EQ(node.GetValCnt(), 1U);
  EXPECT_EQ(node.GetMaxValNameLen(), 4U);
  EXPECT_EQ(node.GetMaxValDataLen(), 8U);
  EXPECT_TRUE(node.DelSubNode(u"sub"));
  EXPECT_EQ(node.GetSubNodeCnt(), 1U);
  EXPECT_FALSE(node.DelSubNode(u"sub"));
  EXPECT_EQ(node.GetRetCode(), ERROR_FILE_NOT_FOUND);
  EXPECT_TRUE(node.DelValue(u"name"));
  EXPECT_EQ(node.GetValCnt(), 0U);
}

TEST_F(RgNodeTest, EnumeratesWithOnePosition) {
  ASSERT_TRUE(Make(u"a") && Make(u"b"));
  ASSERT_TRUE(StoreText(u"v", REG_SZ, u"x") && node.SetValue(u"w", true) && node.Init(root, false, false));
  UnicodeString name;
  EXPECT_TRUE(node.GetNextSubNode(name));
  EXPECT_EQ(name, u"a");

  std::uint8_t data[4] = {9, 9, 9, 9};
  std::uint32_t length = 4;
  std::uint32_t type = 99;
  EXPECT_TRUE(node.GetNextVal(name, type, data, length)) << "goes on where the sub nodes stopped";
  EXPECT_EQ(name, u"w");
  EXPECT_EQ(type, 0U);
  EXPECT_EQ(length, 0U);
  EXPECT_EQ(data[0], 1) << "a flag reads as present";

  EXPECT_FALSE(node.GetNextSubNode(name));
  EXPECT_EQ(node.GetRetCode(), 0) << "the end";
  EXPECT_TRUE(node.GoFirstVal());
  length = 1;
  EXPECT_FALSE(node.GetNextVal(name, type, data, length));
  EXPECT_EQ(node.GetRetCode(), ERROR_MORE_DATA);
  EXPECT_EQ(node.m_enumIdx, 0U);
  length = 4;
  EXPECT_TRUE(node.GetNextVal(name, type, data, length));
  EXPECT_EQ(name, u"v");
  EXPECT_EQ(length, 2U);
  EXPECT_THAT(Lines(), IsEmpty());
}

TEST_F(RgNodeTest, NothingToEnumerateIsTraced) {
  node.m_enumIdx = 5;
  EXPECT_FALSE(node.GoFirstSubNode());
  EXPECT_FALSE(node.GoFirstVal());
  EXPECT_EQ(node.m_enumIdx, 5U);
  EXPECT_THAT(Lines(), ElementsAre(nodeTrace(2, "Node key contains no keys"),
                                   nodeTrace(2, "Node key contains no values")));
}

TEST_F(RgNodeTest, DeletesATree) {
  ASSERT_TRUE(Make(u"top\\a\\b\\c") && Make(u"top\\a\\d") && Make(u"top\\e") && Make(u"other"));
  ASSERT_TRUE(node.Init(root, false, false));
  EXPECT_FALSE(node.DelSubNode(u"top"));
  EXPECT_EQ(node.GetRetCode(), ERROR_ACCESS_DENIED);
  node.DelSubTree(u"top");
  EXPECT_EQ(node.GetRetCode(), 0);
  EXPECT_FALSE(Exists(u"top"));
  EXPECT_EQ(node.GetSubNodeCnt(), 1U);

  OpenNode hive;
  ASSERT_TRUE(hive.Init(u"HKEY_LOCAL_MACHINE\\", false, false));
  hive.DelSubTree(u"Node");
  EXPECT_FALSE(RgNode().Init(root, false, false));
}

TEST_F(RgNodeTest, DeletingNothingHarmsNothing) {
  ASSERT_TRUE(Make(u"top"));
  ASSERT_TRUE(node.Init(root, false, false));
  for (const char16_t* name : {u"", u"\\", u"\\\\", u"\\top"}) {
    node.DelSubTree(name);
    EXPECT_EQ(node.GetRetCode(), ERROR_INVALID_PARAMETER);
  }
  node.DelSubTree(u"absent");
  EXPECT_TRUE(Exists(u"top"));
}

// What the view still shows and another thread has deleted comes once.
TEST_F(RgNodeTest, DeletionEndsInAView) {
  ASSERT_TRUE(Make(u"top\\a") && Make(u"top\\b"));
  const RegistryView view;
  ASSERT_TRUE(node.Init(root, false, false));
  std::thread([] {
    RgNode other;
    EXPECT_TRUE(other.Init((std::u16string(root) + u"\\top").c_str(), false, false) &&
                other.DelSubNode(u"a"));
  }).join();
  node.DelSubTree(u"top");
  EXPECT_EQ(node.GetRetCode(), 0);
  EXPECT_FALSE(Exists(u"top"));
}

// The sub node of "top\a" comes again as often as it is deleted, so that "a" can never be deleted.
TEST_F(RgNodeTest, DeletionEndsAtAKeyThatStays) {
  ASSERT_TRUE(Make(u"top\\a\\b") && Make(u"top\\z"));
  ASSERT_TRUE(node.Init(root, false, false));
  int deletions = 0;
  const trace::SinkId sink = trace::addSink(
      [&](const trace::Line& line) {
        if (line.text == u"Node key contains no keys" && ++deletions < 100) Make(u"top\\a\\b");
      },
      trace::allLevels);
  node.DelSubTree(u"top");
  trace::removeSink(sink);
  EXPECT_LT(deletions, 10);
  EXPECT_EQ(node.GetRetCode(), ERROR_ACCESS_DENIED);
  EXPECT_TRUE(Exists(u"top\\a\\b"));
  EXPECT_TRUE(Exists(u"top\\z"));
}

TEST_F(RgNodeTest, CopiesShareTheKeyUntilTheLastIsGone) {
  auto source = std::make_unique<OpenNode>();
  ASSERT_TRUE(source->Init(root, false, false));
  const HKEY key = source->m_hNode;
  {
    const OpenNode copy(*source);
    EXPECT_EQ(copy.m_hNode, key);
    EXPECT_EQ(copy.GetNodePath(), root);
  }
  EXPECT_TRUE(isOpen(key));
  OpenNode second(*source);
  const OpenNode third(second);
  source.reset();
  EXPECT_TRUE(second.SetValue(u"n", 1));
  EXPECT_TRUE(second.Init(u"HKEY_USERS\\", false, false));
  EXPECT_TRUE(isOpen(key)) << "the third still holds it";
  second = third;
  second = *&second;
  EXPECT_TRUE(second.SetValue(u"n", 2));
}

TEST_F(RgNodeTest, AssignmentReleasesTheTargetsKey) {
  OpenNode target;
  ASSERT_TRUE(target.Init(u"HKEY_USERS\\t", true, false));
  const HKEY before = target.m_hNode;
  target = node;
  EXPECT_FALSE(isOpen(before));
  EXPECT_FALSE(target.Init(u"NONE\\x", false, false));
  EXPECT_TRUE(isOpen(node.m_hNode));
  HKEY last = 0;
  {
    const OpenNode copy(node);
    last = copy.m_hNode;
    node = OpenNode();
    EXPECT_TRUE(isOpen(last));
  }
  EXPECT_FALSE(isOpen(last));
}

}  // namespace
