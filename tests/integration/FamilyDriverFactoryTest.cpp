// Detection makes each family's driver from the family table; a type the table does not hold makes
// no driver at all.
#include "FamilyDriverFactory.h"
#include "ChromameterMinolta.h"
#include "ChromameterMinoltaCas40.h"
#include "ChromameterWuHanJingCe.h"
#include "DetectorPort.h"
#include "InstrumentFamilies.h"
#include "LuminanceMeter.h"
#include "PhotoResearch.h"
#include "TestSupport.h"

#include <gtest/gtest.h>

#include <memory>

TEST(FamilyDriverFactory, EveryFamilyOfTheTableGetsItsOwnDriver) {
    std::unique_ptr<IMinolta> spectro(CreateFamilyDriver(0, detectorLine()));
    std::unique_ptr<IMinolta> analyser(CreateFamilyDriver(1, detectorLine()));
    std::unique_ptr<IMinolta> luminance(CreateFamilyDriver(2, detectorLine()));
    std::unique_ptr<IMinolta> photoResearch(CreateFamilyDriver(3, detectorLine()));
    std::unique_ptr<IMinolta> jingce(CreateFamilyDriver(4, detectorLine()));
    EXPECT_NE(dynamic_cast<CChromameterMinolta*>(spectro.get()), nullptr);
    EXPECT_NE(dynamic_cast<CChromameterMinoltaCas40*>(analyser.get()), nullptr);
    EXPECT_NE(dynamic_cast<CLuminanceMeter*>(luminance.get()), nullptr);
    EXPECT_NE(dynamic_cast<CPhotoResearch*>(photoResearch.get()), nullptr);
    EXPECT_NE(dynamic_cast<CChromameterWuHanJingCe*>(jingce.get()), nullptr);
}

TEST(FamilyDriverFactory, UnknownTypeMakesNoDriverAndSaysSo) {
    MessageCapture log;
    EXPECT_EQ(CreateFamilyDriver(kInstrumentFamilyCount, detectorLine()), nullptr);
    EXPECT_EQ(CreateFamilyDriver(-1, detectorLine()), nullptr);
    EXPECT_TRUE(log.contains(QStringLiteral("no instrument family has type 5")));
    EXPECT_TRUE(log.contains(QStringLiteral("no instrument family has type -1")));
}
