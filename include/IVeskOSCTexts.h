// Texts and limits that cross a boundary of the library: the words the client
// library uses for a request it could not carry out, the camera's last
// firmware-update line, the handler's log lines that hosts may read, the
// camera limit and the default port. The handler, our client library and the
// host layer take them from here, so that they cannot drift apart.
#ifndef IVESKOSC_TEXTS_H
#define IVESKOSC_TEXTS_H

namespace osc_texts {

// At most this many cameras get an entry (and a worker) at once.
inline constexpr int kMaxCameras = 99;
// The HTTP port of a camera named without one.
inline constexpr int kDefaultHttpPort = 8080;

// "reason" of a failure document for a request that never got an answer the
// camera meant (unreachable, timed out, HTTP error, connection dropped). The
// handler drops the camera's queue on it.
inline constexpr const char* kRequestException = "Request exception";
// The camera's update stream ends with a line containing this.
inline constexpr const char* kFirmwareUpdateEnd = "[FW update end]";

// Log lines of the handler, each followed by the text it names.
// "response_ip: IP": an answer from the camera is being handled.
inline constexpr const char* kLogAnswerFrom = "response_ip: ";
// "response: TEXT": the answer's text, when it is a result.
inline constexpr const char* kLogAnswerText = "response: ";
// "OscApi Error: DOCUMENT": a failure document from the client library.
inline constexpr const char* kLogFailure = "OscApi Error: ";
// "response from IP not handled[: WHAT]": an answer the handler could not use.
inline constexpr const char* kLogNotHandledPrefix = "response from ";
inline constexpr const char* kLogNotHandled = " not handled";
// "Thread SLOT IPsend command NAME port PORT": a worker sends a command.
inline constexpr const char* kLogThread = "Thread ";
inline constexpr const char* kLogSendCommand = "send command ";
inline constexpr const char* kLogSendPort = " port ";
// "Thread SLOT IPskip all commands.": a worker drops its camera's queue.
inline constexpr const char* kLogSkipAll = "skip all commands.";

// Commands as a worker's "send command" line names them, for operations whose
// answer the handler reports under no exported name.
inline constexpr const char* kQueuedSetDhcp = "SetDhcp";
inline constexpr const char* kQueuedSetStaticIp = "SetStaticIp";
inline constexpr const char* kQueuedSaveParam = "AstParamRwSave";

}  // namespace osc_texts

#endif
