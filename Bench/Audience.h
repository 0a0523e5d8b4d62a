// Bench/Audience.h: subscribers, and a publisher that pushes to them.
#pragma once
#include "TarnelCore/Base/FileDescriptor.h"
#include "TarnelCore/Daemon/Publisher.h"
#include <cstddef>
#include <memory>
#include <string>
#include <vector>

namespace tarnel::bench {

/// Connections to clients that one thread reads, the caller's.
class Audience {
public:
    explicit Audience(std::size_t subscribers);
    ~Audience();
    Audience(const Audience&) = delete;
    Audience& operator=(const Audience&) = delete;

    /// The client `index` reads nothing any more, and its socket is full.
    void stall(std::size_t index);

    /// Publishes `snapshot` and returns when all clients that read have it whole.
    void push(const std::shared_ptr<const MachineSnapshot>& snapshot);

private:
    struct Client {
        std::shared_ptr<Connection> connection;
        FileDescriptor end;
        bool isStalled = false;
    };

    Publisher publisher;
    std::vector<Client> clients;
    std::string buffer;
};

} // namespace tarnel::bench
