#include "DriverFixture.h"

void expectDriverRefusesWatchers(IMinolta& driver, IMinoltaWatcher* other, IMinoltaWatcher* registered) {
    CMinoltaVistor* registry = CMinoltaVistor::GetInstance();
    const int before = registry->m_watchers.size();
    EXPECT_EQ(driver.RegisterWatcher(other), RESULT_NOT_SUPPORTED);
    EXPECT_EQ(registry->m_watchers.size(), before);
    EXPECT_FALSE(registry->m_watchers.contains(other));
    EXPECT_EQ(driver.UnregisterWatcher(registered), RESULT_NOT_SUPPORTED);
    EXPECT_EQ(registry->m_watchers.size(), before);
    EXPECT_TRUE(registry->m_watchers.contains(registered));
}
