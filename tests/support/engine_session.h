// Starts the engine on an installation and stops it at the end of the scope. Header only, so that it serves programs
// linked with the shared library and programs linked with the engine's objects alike.
#ifndef VELQ_TEST_SUPPORT_ENGINE_SESSION_H
#define VELQ_TEST_SUPPORT_ENGINE_SESSION_H

#include "support/installation.h"
#include "velq.h"

#include <cstdint>
#include <ostream>
#include <string>

namespace velq::test {

// The two ways to start. The Norix variant keeps its connections open.
enum class StartVariant { plain, norix };

inline std::string logFileNameOf(StartVariant variant)
{
    return variant == StartVariant::norix ? "norix-engine.log" : "engine.log";
}

inline std::ostream &operator<<(std::ostream &out, StartVariant variant)
{
    return out << (variant == StartVariant::norix ? "norix" : "plain");
}

class EngineSession {
  public:
    explicit EngineSession(const Installation &installation, StartVariant variant = StartVariant::plain)
        : EngineSession(installation.programDir(), variant)
    {
    }

    EngineSession(const WideText &programDir, StartVariant variant)
        : variant_(variant), result_(variant == StartVariant::norix ? VELQ_Norix_Initialize(programDir.c_str())
                                                                    : VELQ_Initialize(programDir.c_str()))
    {
        started_ = result_ == VELQ_SUCCESS;
    }

    ~EngineSession()
    {
        stop();
    }
    EngineSession(const EngineSession &) = delete;
    EngineSession &operator=(const EngineSession &) = delete;

    // What the initialisation returned: ASSERT_EQ(session.result(), 0).
    std::int32_t result() const
    {
        return result_;
    }

    // Stops early; what the finalisation returned, or VELQ_NOT_INITIALIZED when there is nothing to stop.
    std::int32_t stop()
    {
        if (!started_) {
            return VELQ_NOT_INITIALIZED;
        }
        started_ = false;
        return variant_ == StartVariant::norix ? VELQ_Norix_Finalize() : VELQ_Finalize();
    }

  private:
    StartVariant variant_;
    std::int32_t result_;
    bool started_ = false;
};

} // namespace velq::test

#endif
