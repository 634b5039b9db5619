#include "TolvanderCore/Foundation/FileURL.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <string_view>

#include "Tests/Support/Machine/TemporaryFolder.h"

namespace tolvander::tests {

namespace {

std::string_view extensionOf(const char* path) {
  static FileURL url("/");
  url = FileURL(path);
  return url.pathExtension();
}

std::string standardized(const char* path) { return FileURL(path).standardized().path(); }

void link(const FileURL& at, std::string_view target) {
  std::filesystem::create_symlink(std::string(target), at.path());
}

}  // namespace

TEST(FileURL, givesItsLastPathComponent) {
  EXPECT_EQ(FileURL("/a/b.jpg").lastPathComponent(), "b.jpg");
  EXPECT_EQ(FileURL("/a/b/").lastPathComponent(), "b");
  EXPECT_EQ(FileURL("/a//").lastPathComponent(), "a");
  EXPECT_EQ(FileURL("/").lastPathComponent(), "/");
  EXPECT_EQ(FileURL("//").lastPathComponent(), "/");
}

TEST(FileURL, givesItsExtensionAsSpelt) {
  EXPECT_EQ(extensionOf("/a/PICT0001.JPG"), "JPG");
  EXPECT_EQ(extensionOf("/a/b.tar.gz"), "gz");
  EXPECT_EQ(extensionOf("/a.d/b"), "");
  EXPECT_EQ(extensionOf("/a/b.jpg/"), "jpg");
  EXPECT_EQ(extensionOf("/a/b.\xFF"), "\xFF");
}

TEST(FileURL, hasNoExtensionWhereTheDotStandsFirstOrLast) {
  EXPECT_EQ(extensionOf("/a/.avi"), "");
  EXPECT_EQ(extensionOf("/a/b."), "");
  EXPECT_EQ(extensionOf("/a/.."), "");
  EXPECT_EQ(extensionOf("/"), "");
  EXPECT_EQ(extensionOf("/a/.b.avi"), "avi");
}

TEST(PathExtension, isThatOfTheLastComponentOfAnyPath) {
  EXPECT_EQ(pathExtension("PICT0001.JPG"), "JPG");
  EXPECT_EQ(pathExtension("a.d/b"), "");
  EXPECT_EQ(pathExtension("a/.avi"), "");
  EXPECT_EQ(pathExtension("a/b.avi/"), "avi");
  EXPECT_EQ(pathExtension(".avi"), "");
  EXPECT_EQ(pathExtension("b."), "");
  EXPECT_EQ(pathExtension("/"), "");
  EXPECT_EQ(pathExtension(""), "");
}

TEST(FileURL, appendsWithOneSlash) {
  EXPECT_EQ(FileURL("/a").appending("b").path(), "/a/b");
  EXPECT_EQ(FileURL("/a/").appending("b").path(), "/a/b");
  EXPECT_EQ(FileURL("/a").appending("/b").path(), "/a/b");
  EXPECT_EQ(FileURL("/a/").appending("/b").path(), "/a/b");
  EXPECT_EQ(FileURL("/").appending("b").path(), "/b");
  EXPECT_EQ(FileURL("/").appending("/b").path(), "/b");
  EXPECT_EQ(FileURL("/a").appending("b/c").path(), "/a/b/c");
  EXPECT_EQ(FileURL("/a/").appending("").path(), "/a/");
}

TEST(FileURL, deletesItsLastComponent) {
  EXPECT_EQ(FileURL("/a/b").deletingLastPathComponent().path(), "/a");
  EXPECT_EQ(FileURL("/a/b/").deletingLastPathComponent().path(), "/a");
  EXPECT_EQ(FileURL("/a//b").deletingLastPathComponent().path(), "/a");
  EXPECT_EQ(FileURL("/a").deletingLastPathComponent().path(), "/");
  EXPECT_EQ(FileURL("/").deletingLastPathComponent().path(), "/");
}

TEST(FileURL, standardizesByTextAlone) {
  EXPECT_EQ(standardized("/a/./b//c/"), "/a/b/c");
  EXPECT_EQ(standardized("/a/b/../c"), "/a/c");
  EXPECT_EQ(standardized("/a/../../../b"), "/b");
  EXPECT_EQ(standardized("/.."), "/");
  EXPECT_EQ(standardized("///"), "/");
  EXPECT_EQ(standardized("/a/..b/...c"), "/a/..b/...c");
}

TEST(FileURL, liesBelowAFolderByWholeComponents) {
  EXPECT_TRUE(FileURL("/a/b").isBelow(FileURL("/a")));
  EXPECT_TRUE(FileURL("/a/b/c").isBelow(FileURL("/a")));
  EXPECT_TRUE(FileURL("/a/b").isBelow(FileURL("/a/")));
  EXPECT_FALSE(FileURL("/ab/c").isBelow(FileURL("/a")));
  EXPECT_FALSE(FileURL("/a").isBelow(FileURL("/a")));
  EXPECT_FALSE(FileURL("/a").isBelow(FileURL("/a/b")));
  EXPECT_FALSE(FileURL("/A/b").isBelow(FileURL("/a")));
}

TEST(FileURL, liesBelowTheRootUnlessItIsTheRoot) {
  EXPECT_TRUE(FileURL("/a").isBelow(FileURL("/")));
  EXPECT_FALSE(FileURL("/").isBelow(FileURL("/")));
}

TEST(FileURL, resolvesLinksOnTheWayAndAtTheEnd) {
  const TemporaryFolder folder;
  writeFile(folder / "real/file", "");
  link(folder / "toFolder", "real");
  link(folder / "toFile", "toFolder/file");
  EXPECT_EQ((folder / "toFolder/file").resolvingSymlinks(), folder / "real/file");
  EXPECT_EQ((folder / "toFile").resolvingSymlinks(), folder / "real/file");
  EXPECT_EQ((folder / "toFolder/").resolvingSymlinks(), folder / "real");
}

TEST(FileURL, followsTheLinkBeforeTheDotsBehindIt) {
  const TemporaryFolder folder;
  writeFile(folder / "deep/er/file", "");
  writeFile(folder / "deep/sibling", "");
  link(folder / "link", "deep/er");
  EXPECT_EQ((folder / "link/../sibling").resolvingSymlinks(), folder / "deep/sibling");
  EXPECT_EQ((folder / "link/../sibling").standardized(), folder / "sibling");
}

TEST(FileURL, keepsTheMissingEndWhenResolving) {
  const TemporaryFolder folder;
  writeFile(folder / "real/file", "");
  link(folder / "link", "real");
  EXPECT_EQ((folder / "link/missing/deeper.jpg").resolvingSymlinks(), folder / "real/missing/deeper.jpg");
  EXPECT_EQ((folder / "link/missing/../other").resolvingSymlinks(), folder / "real/other");
  EXPECT_EQ(FileURL("/no-such-folder-at-all/x").resolvingSymlinks().path(), "/no-such-folder-at-all/x");
}

TEST(FileURL, keepsALinkThatLeadsNowhere) {
  const TemporaryFolder folder;
  link(folder / "broken", "missing");
  EXPECT_EQ((folder / "broken").resolvingSymlinks(), folder / "broken");
}

TEST(FileURL, isOnlyStandardizedWhereLinksGoInCircles) {
  const TemporaryFolder folder;
  link(folder / "a", "b");
  link(folder / "b", "a");
  EXPECT_EQ((folder / "a/./x").resolvingSymlinks(), folder / "a/x");
}

TEST(FileURL, isOnlyStandardizedBehindAFile) {
  const TemporaryFolder folder;
  writeFile(folder / "file", "");
  EXPECT_EQ((folder / "file//x").resolvingSymlinks(), folder / "file/x");
}

TEST(FileURL, resolvesTheRoot) { EXPECT_EQ(FileURL("/").resolvingSymlinks().path(), "/"); }

TEST(FileURLDeathTest, endsTheProcessOnARelativePath) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_DEATH(FileURL("a"), "absolute path");
  EXPECT_DEATH(FileURL(""), "absolute path");
}

}  // namespace tolvander::tests
