// Looking at a node as a member of its group: everything can be read, nothing written.
#include <grp.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <vector>

#include "NodeStoreFixture.h"
#include "OtherUser.h"

using namespace storetest;

namespace {

constexpr gid_t GROUP = 4242;
constexpr uid_t MEMBER = 12345;

class NodeStoreGroup : public NodeStoreTest {
 protected:
  void SetUp() override {
    // Skipped for an ordinary user and for a root who is alone: they can make nobody a member of a group.
    if (!canActAsAnotherUser()) GTEST_SKIP() << "only root can be somebody else";
    store_ = create();
    ASSERT_EQ(chmod(directory_.path().c_str(), 0750), 0);
    for (const std::string &path : {directory_.path(), file(), file() + "-lock"})
      ASSERT_EQ(chown(path.c_str(), 0, GROUP), 0);
  }

  // Runs `body` as somebody whose only right is to be in the group, or not even that.
  static int asMember(gid_t group, const std::function<int()> &body) {
    Child member([&] {
      if (setgroups(1, &group) != 0 || setresgid(MEMBER, MEMBER, MEMBER) != 0 || setuid(MEMBER) != 0) return 99;
      return body();
    });
    return WEXITSTATUS(member.waitForEnd());
  }

  std::unique_ptr<NodeStore> store_;
};

TEST_F(NodeStoreGroup, MemberReadsAllThatThereIs) {
  ASSERT_TRUE(store_->beginRun(someRun()).ok());
  ASSERT_TRUE(store_->setTag("a", text("value")).ok());
  ASSERT_TRUE(store_->setRad(1, 2, RadOrigin::OPERATOR).ok());
  orv::EuRecord eu;
  eu.id = 1;
  ASSERT_TRUE(store_->putEu(eu, nullptr).ok());
  ASSERT_TRUE(store_->setEuStatus(1, "idle").ok());
  ASSERT_TRUE(store_->appendOutput(1, std::vector<orv::OutputLine>{{1, 0, false, "hello"}}).ok());
  EXPECT_EQ(asMember(GROUP,
                     [&] {
                       const auto own = existing();
                       if (!own) return 1;
                       if (!own->tagIsSet("a") || own->tagIsSet("b") || own->tag("a")->value.text != "value") return 2;
                       if (own->rad(1) != 2 || own->run()->daemonPid != 42 || own->eus().size() != 1) return 3;
                       if (own->euStatuses().size() != 1 || own->output(1).first.size() != 1) return 4;
                       return own->events().size() == 2 ? 0 : 5;
                     }),
            0);
}

TEST_F(NodeStoreGroup, MemberSeesWhatChangesMeanwhile) {
  const Progress seen;
  const Progress changed;
  Child member([&] {
    const gid_t group = GROUP;
    if (setgroups(1, &group) != 0 || setresgid(MEMBER, MEMBER, MEMBER) != 0 || setuid(MEMBER) != 0) return 99;
    const auto own = existing();
    if (!own || own->tagIsSet("0")) return 1;
    for (int round = 0; round < 50; ++round) {
      seen.tell();
      changed.await(1);
      if (!own->tagIsSet(std::to_string(round)) || own->tags().size() != static_cast<size_t>(round) + 1) return 2;
    }
    return 0;
  });
  for (int round = 0; round < 50; ++round) {
    seen.await(1);
    ASSERT_TRUE(store_->setTag(std::to_string(round), text(std::string(1000, 'x'))).ok());
    changed.tell();
  }
  EXPECT_EQ(member.waitForEnd(), 0);
}

TEST_F(NodeStoreGroup, MemberMayNotWriteAndIsToldSo) {
  EXPECT_EQ(asMember(GROUP,
                     [&] {
                       const Status status = existing()->setTag("a", u32(1));
                       const bool isExplained =
                           contains(status.message, "run as root or as the user who runs the node");
                       return status.code == EACCES && isExplained ? 0 : 1;
                     }),
            0);
  EXPECT_FALSE(store_->tagIsSet("a"));
}

TEST_F(NodeStoreGroup, WhoIsNoMemberReadsNothing) {
  EXPECT_EQ(asMember(MEMBER, [&] { return tryExisting().code == EACCES ? 0 : 1; }), 0);
}

}  // namespace
