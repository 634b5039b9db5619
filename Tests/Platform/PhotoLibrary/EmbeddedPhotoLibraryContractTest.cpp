#include "Tests/Support/Application/EmbeddedLibrary.h"
#include "Tests/Support/Application/PhotoLibraryContractTests.h"

namespace tolvander::tests {
namespace {

class EmbeddedLibraryUnderTest final : public PhotoLibraryUnderTest {
 public:
  EmbeddedLibraryUnderTest() { requestAndWait(library_); }
  app::PhotoLibrary& library() override { return library_; }

 private:
  TemporaryFolder folder_;
  EmbeddedPhotoLibrary library_{folder_ / "Pictures/Tolvander"};
};

INSTANTIATE_TEST_SUITE_P(Embedded, PhotoLibraryContract,
                         testing::Values(PhotoLibraryMaker(std::make_unique<EmbeddedLibraryUnderTest>)),
                         [](const auto&) { return "Library"; });

}  // namespace
}  // namespace tolvander::tests
