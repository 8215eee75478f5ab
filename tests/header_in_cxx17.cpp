// Compiles as C++17: the public header asks for no more.
#include "velq.h"

static_assert(__cplusplus == 201703L);
static_assert(noexcept(VELQ_CheckSpamMsgASync()), "no export throws");
