#include "Tests/Support/Doubles/ScriptedPhotoLibrary.h"

#include "Tests/Support/Application/PhotoLibraryContractTests.h"

namespace tolvander::tests {
namespace {

class ScriptedUnderTest final : public PhotoLibraryUnderTest {
 public:
  app::PhotoLibrary& library() override { return library_; }

 private:
  ScriptedPhotoLibrary library_;
};

INSTANTIATE_TEST_SUITE_P(Scripted, PhotoLibraryContract, testing::Values(PhotoLibraryMaker([] {
                           return std::make_unique<ScriptedUnderTest>();
                         })));

}  // namespace
}  // namespace tolvander::tests
