// SPDX-License-Identifier: Apache-2.0
#include "accounts/identity_store.h"

#include "support/files.h"

#include <gtest/gtest.h>
#include <set>
#include <sys/stat.h>
#include <thread>

using namespace tarn::server;
using kvxtest::contents;
using kvxtest::TemporaryDirectory;

namespace {

std::string given(IdentityStore& store, uint32_t account, const std::string& presented = {}) {
    const auto identity = store.identityFor(account, presented);
    return identity ? std::string(identity->begin(), identity->end()) : "none";
}

} // namespace

TEST(IdentityStore, GivesANewIdentityEveryTime) {
    const TemporaryDirectory folder;
    IdentityStore store(folder / "identities");
    std::set<std::string> seen;
    for (int i = 0; i < 100; ++i) seen.insert(given(store, 1));
    EXPECT_EQ(seen.size(), 100U);
    for (const std::string& identity : seen) EXPECT_EQ(identity.size(), 16U);
}

TEST(IdentityStore, KnowsItsIdentitiesAgainAfterARestart) {
    const TemporaryDirectory folder;
    std::vector<std::string> identities;
    {
        IdentityStore store(folder / "identities");
        for (int i = 0; i < 1000; ++i) identities.push_back(given(store, 7));
    }
    IdentityStore store(folder / "identities");
    for (const std::string& identity : identities) EXPECT_EQ(given(store, 7, identity), identity);
    EXPECT_EQ(contents(folder / "identities").size(), 1000U * 20);
}

TEST(IdentityStore, GivesANewOneForOneItDoesNotKnow) {
    const TemporaryDirectory folder;
    IdentityStore store(folder / "identities");
    const std::string mine = given(store, 1);
    for (const std::string& presented : {std::string("0123456789abcdef"), mine.substr(0, 15), mine + "x"}) {
        EXPECT_NE(given(store, 1, presented), presented);
    }
    EXPECT_NE(given(store, 2, mine), mine) << "another account's";
}

TEST(IdentityStore, GivesAnAccountItsShareAndNoMore) {
    const TemporaryDirectory folder;
    IdentityStore store(folder / "identities", 3);
    const std::string first = given(store, 1);
    given(store, 1);
    given(store, 1);
    EXPECT_EQ(given(store, 1), "none");
    EXPECT_EQ(given(store, 1, first), first);
    EXPECT_NE(given(store, 2), "none");
}

TEST(IdentityStore, DropsAnEntryThatWasCutOff) {
    const TemporaryDirectory folder;
    std::string first;
    {
        IdentityStore store(folder / "identities");
        first = given(store, 1);
        given(store, 1);
    }
    std::filesystem::resize_file(folder / "identities", 33);
    IdentityStore store(folder / "identities");
    EXPECT_EQ(given(store, 1, first), first);
    const std::string next = given(store, 1);
    IdentityStore again(folder / "identities");
    EXPECT_EQ(given(again, 1, next), next);
    EXPECT_EQ(contents(folder / "identities").size(), 40U);
}

TEST(IdentityStore, SharesItsFileWithOtherServers) {
    const TemporaryDirectory folder;
    IdentityStore one(folder / "identities");
    IdentityStore other(folder / "identities");
    const std::string identity = given(one, 1);
    EXPECT_EQ(given(other, 1, identity), identity);
    {
        const auto giveMany = [](IdentityStore& store) {
            for (int i = 0; i < 50; ++i) given(store, 1);
        };
        const std::jthread a(giveMany, std::ref(one));
        const std::jthread b(giveMany, std::ref(other));
    }
    const std::string bytes = contents(folder / "identities");
    std::set<std::string> entries;
    for (size_t i = 0; i + 20 <= bytes.size(); i += 20) entries.insert(bytes.substr(i, 20));
    EXPECT_EQ(entries.size(), 101U);
    EXPECT_EQ(bytes.size(), 101U * 20);
}

TEST(IdentityStore, IsItsOwnersAlone) {
    const TemporaryDirectory folder;
    IdentityStore store(folder / "identities");
    store.open();
    struct stat status {};
    ASSERT_EQ(stat((folder / "identities").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0600U);
}

TEST(IdentityStore, SaysWhyItCannotOpenAndOpensWhenItCan) {
    const TemporaryDirectory folder;
    IdentityStore store(folder / "missing/identities");
    EXPECT_THROW(store.open(), std::runtime_error);
    EXPECT_THROW(given(store, 1), std::runtime_error);
    std::filesystem::create_directory(folder / "missing");
    const std::string identity = given(store, 1);
    EXPECT_EQ(given(store, 1, identity), identity);
}
