#include <cstdio>

#include "facade/oscapi_handler.h"
#include "facade/response_callback.h"

OSCAPIHANDLER::OSCAPIHANDLER(const char* libDir) : m_timings(worker_timings()) {
    for (int slot = 0; slot < kSlotCount; ++slot) {
        m_cmdReady[slot] = true;
        m_workerRunning[slot] = false;
        m_workerStop[slot] = false;
        m_skipAll[slot] = false;
    }
    _loadOscAPILib(libDir);
    if (m_pOscAPI) ResponseCallback::Reg(m_pOscAPI.get(), this);
}

OSCAPIHANDLER::~OSCAPIHANDLER() {
    std::array<std::thread, kSlotCount> workers;
    {
        // Answers still arriving must not start workers behind our back.
        std::lock_guard<std::mutex> lock(m_entryMutex);
        m_shuttingDown = true;
        for (int slot = 0; slot < kSlotCount; ++slot) {
            _request_worker_stop(slot);
            workers[slot] = std::move(m_worker[slot]);
        }
    }
    // Joined without the entry lock: a callback still running on a worker
    // may call an operation, which finds the handler shutting down.
    for (auto& worker : workers) {
        if (worker.joinable()) worker.join();
    }
    ResponseCallback::Unreg(m_pOscAPI.get());
    _releaseOscAPILib();
}

void OSCAPIHANDLER::SetDataCallback(DeviceListCallback device_list,
                                    CameraParamCallback camera_param,
                                    CommandResultCallback command_result,
                                    HealthUsageCallback health_usage) {
    m_cbDeviceList = device_list;
    m_cbCameraParam = camera_param;
    m_cbCommandResult = command_result;
    m_cbHealthUsage = health_usage;
}

void OSCAPIHANDLER::SetFWUpdateCallback(FWUpdateResultCallback result,
                                        FWUpdateProgressCallback progress) {
    m_cbFWResult = result;
    m_cbFWProgress = progress;
}

void OSCAPIHANDLER::SetRebootStateCallback(RebootStateCallback reboot_state) {
    m_cbRebootState = reboot_state;
}

void OSCAPIHANDLER::SetLogCallback(LogCallback log) {
    m_cbLog = log;
}

void OSCAPIHANDLER::_put_log(const std::string& line) {
    if (LogCallback log = m_cbLog.load()) {
        log(line.c_str());
        return;
    }
    std::printf("%s\n", line.c_str());
    std::fflush(stdout);
}
