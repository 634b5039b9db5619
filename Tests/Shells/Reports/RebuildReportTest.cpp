#include "Shells/CommandLine/Reports/RebuildReport.h"

#include <gtest/gtest.h>

#include "Samples/Bytes.h"
#include "TolvanderCore/JSON/JSONReader.h"

namespace tolvander::app {
namespace {

RebuildReport report() {
  return {.folder = FileURL("/p/Tolvander"),
          .isNeeded = true,
          .items = 12,
          .known = 11,
          .added = 1,
          .moved = 2,
          .dropped = 1,
          .waiting = 1,
          .source = FileURL("/p/Tolvander/Backups/Library 2026-11-20.sqlite"),
          .hasCatalogue = true,
          .isDone = false,
          .formerCatalogue = std::nullopt};
}

TEST(RebuildReport, asksWithWhatTheNewCatalogueWouldHave) {
  const Alert question = rebuildQuestion(report());
  EXPECT_EQ(question.message, "Make the catalogue of the photo library in “/p/Tolvander” anew?");
  EXPECT_EQ(question.informativeText,
            "12 items: 11 known, 1 new. 2 items were found in another place. 1 item is gone: no file has "
            "that content any more. 1 file waits for the next sync. Dates and albums are those of "
            "/p/Tolvander/Backups/Library 2026-11-20.sqlite\n"
            "The catalogue that is there is kept under another name. Pictures are not changed.");
}

TEST(RebuildReport, asksAboutNoFormerCatalogueWhereThereIsNone) {
  RebuildReport lost = report();
  lost.hasCatalogue = false;
  EXPECT_TRUE(rebuildQuestion(lost).informativeText.ends_with(".sqlite\nPictures are not changed."));
}

TEST(RebuildReport, saysHowManyPicturesAreLeftOut) {
  RebuildReport twins;
  twins.leftOut = 2;
  EXPECT_TRUE(twins.text().find(
                  " 2 pictures are left out, because another has the same name in upper or lower case.") !=
              std::string::npos)
      << twins.text();
}

TEST(RebuildReport, saysWhatWasDoneAndWhereTheFormerCatalogueIs) {
  RebuildReport done = report();
  done.isDone = true;
  done.formerCatalogue = FileURL("/p/Tolvander/Library before 2026-11-22 101500.sqlite");
  EXPECT_TRUE(
      done.text().ends_with("\nThe catalogue was made anew.\nThe one that was there is now "
                            "/p/Tolvander/Library before 2026-11-22 101500.sqlite\n"))
      << done.text();
  const JSONDocument document(tests::bytesOf(done.json()));
  EXPECT_TRUE(document.root().object().required("isDone").boolean());
  EXPECT_EQ(document.root().object().required("moved").integer(), 2);
  EXPECT_EQ(document.root().object().required("formerCatalogue").string(), done.formerCatalogue->path());
}

TEST(RebuildReport, saysThatThereWasNothingToChange) {
  RebuildReport same;
  same.items = 1;
  same.known = 1;
  EXPECT_EQ(same.text(), "1 item: 1 known, 0 new.\nThe catalogue already says this: nothing was changed.\n");
}

}  // namespace
}  // namespace tolvander::app
