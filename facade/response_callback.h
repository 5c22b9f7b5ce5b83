// Routes the client library's two callbacks to the one handler that is
// registered. Unreg waits for callbacks already running, so once it returns no
// callback reaches the handler any more.
#pragma once

class IVeskOSC_Tendra;
class OSCAPIHANDLER;

class ResponseCallback {
public:
    static void Reg(IVeskOSC_Tendra* client, OSCAPIHANDLER* handler);
    static void Unreg(IVeskOSC_Tendra* client);

    static void OscAPICB(const char* response, const char* ip, int status);
    static void MDNSCB(const char** entries, int count);
};
