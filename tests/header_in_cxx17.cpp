// Compiles as C++17: the public headers ask for no more.
#include "velq.h"
#include "velq_text.h"

static_assert(__cplusplus == 201703L);
static_assert(noexcept(VELQ_CheckSpamMsgASync()), "no export throws");
static_assert(noexcept(velq_prepare_text(nullptr, nullptr, 0)), "no export throws");
