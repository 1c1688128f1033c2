#include "platform/faultinjection/faultinjectingplatform.h"
#include "platform/simulated/machinesession.h"
#include "platform/simulated/simulatedpc.h"

namespace platform {

namespace {

/// The machine of this process, with the faults that its state asks for at
/// the start.
class Backend
{
public:
    Backend() : m_pc(simulated::defaultStateDirectory()), m_faulty(m_pc)
    {
        const simulated::MachineSession session(simulated::defaultStateDirectory());
        for (const simulated::InjectedFault &fault : session.state.faults) {
            m_faulty.inject(
                {fault.operation, fault.call, static_cast<DWORD>(fault.code), fault.always});
        }
        m_isFaulty = !session.state.faults.isEmpty();
    }

    Platform &platform()
    {
        if (m_isFaulty)
            return m_faulty;
        return m_pc;
    }

private:
    simulated::SimulatedPc m_pc;
    FaultInjectingPlatform m_faulty;
    bool m_isFaulty = false;
};

} // namespace

Platform &backend(const Program &)
{
    // Never destroyed: threads of the pool may still use it when static
    // objects go.
    static Backend *const instance = new Backend;
    return instance->platform();
}

} // namespace platform
