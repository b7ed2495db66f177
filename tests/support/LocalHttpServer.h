#pragma once

#include <httplib.h>

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>

// A real HTTP server on 127.0.0.1 for the duration of one test: the feedback and
// update-check code talk to it over the same network stack they use in the field.
// Register routes on server(), then call start(); the destructor stops it.
class LocalHttpServer {
public:
    LocalHttpServer() { port_ = server_.bind_to_any_port("127.0.0.1"); }

    ~LocalHttpServer()
    {
        {
            std::lock_guard lock(mutex_);
            shuttingDown_ = true;
        }
        released_.notify_all();
        server_.stop();
        if (thread_.joinable()) thread_.join();
    }

    LocalHttpServer(const LocalHttpServer &) = delete;
    LocalHttpServer &operator=(const LocalHttpServer &) = delete;

    httplib::Server &server() { return server_; }

    // The socket already listens after the bind, so requests made before the accept
    // loop runs would only wait in the backlog; but stop() does nothing until the loop
    // runs, so start() waits for it or the destructor could wait forever.
    void start()
    {
        thread_ = std::thread([this] { server_.listen_after_bind(); });
        while (port_ > 0 && !server_.is_running()) std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }

    bool isBound() const { return port_ > 0; }
    int port() const { return port_; }
    std::string url(const std::string &path) const
    {
        return "http://127.0.0.1:" + std::to_string(port_) + path;
    }

    // For a handler that must never answer: blocks until the test ends (or a minute,
    // so a forgotten client cannot hang the run).
    void holdUntilShutdown()
    {
        std::unique_lock lock(mutex_);
        released_.wait_for(lock, std::chrono::minutes(1), [this] { return shuttingDown_; });
    }

private:
    httplib::Server server_;
    std::thread thread_;
    int port_ = -1;
    std::mutex mutex_;
    std::condition_variable released_;
    bool shuttingDown_ = false;
};
