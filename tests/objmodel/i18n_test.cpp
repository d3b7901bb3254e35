#include "objmodel/i18n.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "objmodel/property_kinds.h"

namespace {

// Short enough to live inside the string object, and too long for it.
const char* const kNames[] = {"x", "a name that does not fit into the string object itself"};

KtI18NDef Named(const char* name) {
  return {kGuidOne, 7, 0, name};
}

::testing::AssertionResult AimsAtItself(const CKtI18N& message, const std::string& name) {
  if (message.Definition().name != message.Name().c_str()) {
    return ::testing::AssertionFailure() << "the definition aims at another text";
  }
  if (message.Name() != name) return ::testing::AssertionFailure() << message.Name();
  return ::testing::AssertionSuccess();
}

TEST(I18N, IsEmptyWhenItIsBuiltOfNothing) {
  const CKtI18N message;
  EXPECT_TRUE(AimsAtItself(message, ""));
  EXPECT_EQ(message.Definition().messageId, 0u);
}

TEST(I18N, KeepsItsOwnCopyOfADefinition) {
  for (const char* name : kNames) {
    std::string source = name;
    const CKtI18N message(Named(source.c_str()));
    source.assign(source.size(), '?');
    EXPECT_TRUE(AimsAtItself(message, name));
    EXPECT_EQ(message.Definition().messageId, 7u);
    EXPECT_TRUE(Same(message.Definition().catalog, kGuidOne));
  }
}

TEST(I18N, TakesADefinitionWithoutANameForOneWithAnEmptyName) {
  EXPECT_TRUE(AimsAtItself(CKtI18N(Named(nullptr)), ""));
}

TEST(I18N, AimsAtItsOwnCopyAfterACopy) {
  for (const char* name : kNames) {
    const CKtI18N source(Named(name));
    // NOLINTNEXTLINE(performance-unnecessary-copy-initialization): the copy is what is tested
    const CKtI18N copy(source);
    EXPECT_TRUE(AimsAtItself(copy, name));
    EXPECT_TRUE(AimsAtItself(source, name));
    EXPECT_NE(copy.Definition().name, source.Definition().name);
  }
}

TEST(I18N, AimsAtItsOwnCopyAfterAMove) {
  for (const char* name : kNames) {
    CKtI18N source(Named(name));
    const CKtI18N moved(std::move(source));
    EXPECT_TRUE(AimsAtItself(moved, name));
    // What is left of the source is unspecified but for its aim.
    // NOLINTNEXTLINE(bugprone-use-after-move,clang-analyzer-cplusplus.Move): its aim is promised
    EXPECT_EQ(source.Definition().name, source.Name().c_str());
  }
}

TEST(I18N, AimsAtItsOwnCopyAfterAnAssignment) {
  for (const char* from : kNames) {
    for (const char* to : kNames) {
      const CKtI18N source(Named(from));
      CKtI18N copied(Named(to));
      copied = source;
      EXPECT_TRUE(AimsAtItself(copied, from));
      CKtI18N moved(Named(to));
      moved = CKtI18N(Named(from));
      EXPECT_TRUE(AimsAtItself(moved, from));
    }
  }
}

TEST(I18N, SurvivesBeingAssignedToItself) {
  for (const char* name : kNames) {
    CKtI18N message(Named(name));
    CKtI18N& itself = message;
    message = itself;
    EXPECT_TRUE(AimsAtItself(message, name));
    message = std::move(itself);
    EXPECT_TRUE(AimsAtItself(message, name));
  }
}

TEST(I18N, AimsAtItsOwnCopyInAListThatGrows) {
  std::vector<CKtI18N> messages;
  // NOLINTNEXTLINE(performance-inefficient-vector-operation): growing is what is tested
  for (int i = 0; i < 20; ++i) messages.emplace_back(Named(kNames[i % 2]));
  for (std::size_t i = 0; i < messages.size(); ++i) {
    EXPECT_TRUE(AimsAtItself(messages[i], kNames[i % 2]));
  }
}

TEST(I18N, BeginsWithTheCompleteDefinition) {
  const CKtI18N message(Named("x"));
  EXPECT_EQ(static_cast<const void*>(&message), static_cast<const void*>(&message.Definition()));
}

}  // namespace
