// The merge of a white-number update into the white list.
#ifndef VELQ_WN_STORE_H
#define VELQ_WN_STORE_H

// 0 merged, nothing to merge, or the list stayed locked; -2 failed and rolled back. Both paths are UTF-8.
int db_MergeDiff2WnTable(const char *listPath, const char *updatePath) noexcept;

#endif
