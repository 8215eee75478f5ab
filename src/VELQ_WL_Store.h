// The merge of a probability update into the token store.
#ifndef VELQ_WL_STORE_H
#define VELQ_WL_STORE_H

// 0 merged, nothing to merge, or the store stayed locked; -2 failed and rolled back. Both paths are UTF-8.
int db_MergeDiff2ProbTable(const char *storePath, const char *updatePath) noexcept;

#endif
