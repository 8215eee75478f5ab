// Takes the waiting for the disk out of the SQLite of this process, the engine's included: thousands of small
// transactions then cost what they compute. What is written and when, locks and journals stay as they are; only a power
// failure would tell the difference.
#ifndef VELQ_TEST_SUPPORT_WITHOUT_SYNC_H
#define VELQ_TEST_SUPPORT_WITHOUT_SYNC_H

namespace velq::test {

// For databases opened from now on. Calling it again changes nothing.
void disableDatabaseSync();

} // namespace velq::test

#endif
