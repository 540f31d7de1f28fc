#pragma once

#include "service/Http/StopSignal.hpp"

#include <chrono>
#include <cstddef>
#include <span>
#include <string_view>

namespace VelmorService {

/// One accepted connection. Used by one thread; every wait ends at once when the stop signal is raised.
class Connection {
  public:
    using Milliseconds = std::chrono::milliseconds;

    /// The stop signal must outlive the connection.
    Connection(FileDescriptor socket, const StopSignal& stop);

    enum class Result { Done, Closed, TimedOut, Stopped };

    /// Reads what has arrived, waiting up to `patience` for the first byte. `count` is the number of bytes.
    Result read(std::span<char> into, std::size_t& count, Milliseconds patience);
    /// Writes everything; each piece may wait up to `patience` for room.
    Result write(std::string_view bytes, Milliseconds patience);
    /// Sends the end of the stream, then takes in for a short while what the client still sends: closing a
    /// socket with unread bytes would reset the connection and could destroy an answer that the client has
    /// not read yet.
    void finish();
    /// Ends the connection with a TCP reset.
    void reset();
    /// Says nothing until the client has closed the connection or the server stops. What arrives is dropped,
    /// or with `readMeanwhile` false left in the socket, so that the client's sending stalls once the buffers
    /// are full.
    void holdUntilClientLeaves(bool readMeanwhile);
    /// Waits; true when the server stops meanwhile.
    bool pause(Milliseconds time) const { return stop_.pause(time); }

  private:
    Result waitFor(short events, Milliseconds patience) const;

    FileDescriptor socket_;
    const StopSignal& stop_;
};

}  // namespace VelmorService
