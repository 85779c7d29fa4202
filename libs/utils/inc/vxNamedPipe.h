// Named pipes: a duplex channel of length-prefixed messages between two processes.
//
// A pipe "\\<host>\PIPE\<name>" is two one-way pipes, "<full name>_IN" and "<full name>_OUT",
// named as the server sees them: the server reads "_IN" and writes "_OUT", a client the reverse.
// Each message is its length L (4 bytes, unsigned, in the machine's byte order) and L bytes.
//
// Incoming messages are taken either by read (which polls) or by a listener thread that hands each
// one to a callback: both take from the same pipe, so a program uses one or the other.
//
// The listener takes messages of up to kMaxMessageSize bytes and skips empty ones. A longer
// announced length, or a writer that goes away within a message, ends it with exit code 2 (the
// pipe is then out of step, and only deinit is left to do). stopListener stops it at its next
// look at its stop flag (every few milliseconds, and between messages) and waits for it: a
// callback that is running is let finish.
#pragma once

#include "vxExport.h"
#include "vxString.h"

namespace vx {

struct namedPipeData;

class VX_API namedPipe {
public:
    using callbackFunction = void (*)(char* data, unsigned int size, void* context);

    // The results of read.
    static constexpr int kReadDone = 0;
    static constexpr int kReadTimedOut = 1;
    static constexpr int kReadBufferTooSmall = 2;
    // The longest message the listener takes.
    static constexpr unsigned int kMaxMessageSize = 64u * 1024u * 1024u;

    // Named "" on the local host ".".
    namedPipe();
    // As deinit.
    ~namedPipe();
    namedPipe(const namedPipe&) = delete;
    namedPipe& operator=(const namedPipe&) = delete;

    // Sets the name and the host and builds the full name from them.
    void setPipeName(string name, string host);
    // "\\<host>\PIPE\<name>".
    string getPipeName();
    // The full name with "_IN" (in true) or "_OUT".
    string getRealPipeName(bool in);

    // A server makes both pipes, a client opens the pipes of a running server. An object that was
    // initialised is first deinitialised. With a callback, the listener is started. True when both
    // pipes are there.
    bool initialize(bool server, callbackFunction callback, void* context, int sleepMs);
    bool isInitialized() const;
    // True while the listener runs.
    bool isListening() const;

    // Writes one message. A full pipe is waited for as long as the reader takes bytes; true when
    // the whole message went. Without a peer (none yet, or gone) false at once.
    bool send(void const* data, unsigned int size);

    // Takes the next message into buffer, whose capacity size gives. kReadDone: size is the
    // message's length. kReadBufferTooSmall: size is the length needed, and the message waits
    // for the next call. kReadTimedOut: no whole message came within timeoutMs, stopReading was
    // called, or (at once) the writer has gone; a message it left cut short is dropped. Part of a
    // message that did come is kept for the next call. Empty messages are skipped.
    int read(void* buffer, unsigned int& size, unsigned int timeoutMs);
    // Ends a read running on another thread at its next look (within 100 milliseconds). A read
    // that begins afterwards is not ended by it.
    void stopReading();

    // Stops any listener, then starts one that calls callback(data, size, context) on its own
    // thread for each message and looks at the pipe every sleepMs. False without a pipe to read
    // or when the thread cannot start.
    bool startListener(callbackFunction callback, void* context, int sleepMs);
    // Stops the listener and waits for its end. From within the callback it only asks it to stop:
    // the listener ends once the callback returns.
    void stopListener();
    // stopListener, then closes both pipes.
    void deinit();

private:
    // Gives up the listener's handle and record; the thread itself runs on to its end.
    void releaseListener();

    namedPipeData* mpData;
};

} // namespace vx
