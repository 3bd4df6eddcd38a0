#pragma once

// The end-to-end tests' view of the library, as a host has it: a family's simulated instrument on a
// pseudo-terminal that detection is pointed at, a facade from the exported factory, and a watcher
// registered through it. The test's parameter is how the cable delivers.

#include "ChromameterMinoltaApi.h"
#include "IMinolta.h"
#include "LineParams.h"
#include "MeasurementOutcome.h"
#include "MinoltaVistor.h"
#include "TestSupport.h"

#include <QString>

#include <gtest/gtest.h>

#include <memory>

template <class Model> class HostFixture : public ::testing::TestWithParam<LineModel> {
protected:
    void SetUp() override {
        model.setLine(GetParam());
        ASSERT_TRUE(model.start());
        ShowLine(model);
        m_scope.reset(new CatalogueScope({model.portPath()}));
    }

    void TearDown() override {
        // Let a worker that has just notified return before the watcher goes away.
        pumpEvents(100);
        CMinoltaVistor::GetInstance()->Unregister(&watcher);
    }

    // A facade from the factory, with the watcher registered through it.
    void createFacade() {
        IMinolta* created = nullptr;
        ASSERT_EQ(CreateChromameterMinolta(&created), RESULT_OK);
        facade.reset(created);
        EXPECT_EQ(facade->RegisterWatcher(&watcher), 1UL);
    }

    // Detection through a new facade, as a host does it.
    void connectThroughFacade() {
        ASSERT_NO_FATAL_FAILURE(createFacade());
        ASSERT_EQ(facade->Connect(), RESULT_OK);
    }

    // Starts a measurement with the watcher's record cleared, and waits for its outcome: the
    // watcher's last call, or empty when none came in time.
    QString measure(bool tcp = false, int timeoutMs = 15000) {
        watcher.clear();
        if (!MeasurementOutcome::measure(*facade, tcp, watcher, timeoutMs).heard())
            return QString();
        return watcher.last();
    }

    Model model;
    RecordingWatcher watcher;
    std::unique_ptr<IMinolta> facade;

private:
    std::unique_ptr<CatalogueScope> m_scope;
};
