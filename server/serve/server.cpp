// Listening, the limit on connections, and the clean stop.
#include "serve/server.h"

#include <algorithm>
#include <asio.hpp>
#include <atomic>
#include <cstdio>
#include <fstream>
#include <iostream>
#include <thread>
#include <vector>

#include "serve/connection.h"
#include "serve/log.h"

namespace qrx::server {
namespace {

using asio::ip::tcp;

asio::awaitable<void> Accept(tcp::acceptor& acceptor, Store& store, ServePools& pools,
                             const ServeOptions& options) {
    const auto pOpen = std::make_shared<std::atomic<int>>(0);
    asio::steady_timer pause(acceptor.get_executor());
    while (acceptor.is_open()) {
        asio::error_code error;
        auto strand = asio::make_strand(acceptor.get_executor());
        tcp::socket socket = co_await acceptor.async_accept(
            strand, asio::redirect_error(asio::use_awaitable, error));
        if (error == asio::error::operation_aborted) co_return;
        if (error) {  // out of descriptors, most likely: others leave in time
            Log("cannot accept a connection: " + error.message());
            pause.expires_after(std::chrono::milliseconds(200));
            co_await pause.async_wait(asio::use_awaitable);
            continue;
        }
        if (*pOpen >= options.nMaxConnections) {
            Log("connection turned away: " + std::to_string(options.nMaxConnections) + " are open");
            continue;
        }
        ++*pOpen;
        auto pConnection = std::make_shared<Connection>(std::move(socket), store, pools, options);
        asio::co_spawn(
            strand, [pConnection] { return pConnection->Run(); },
            [pOpen](const std::exception_ptr&) { --*pOpen; });
    }
}

void WritePortFile(const std::string& strPath, int nPort) {
    const std::string strNew = strPath + ".new";
    std::ofstream file(strNew);
    file << nPort << "\n";
    file.close();
    if (!file || rename(strNew.c_str(), strPath.c_str()) != 0) {
        throw std::runtime_error("cannot write " + strPath);
    }
}

}  // namespace

void Serve(Store& store, const ServeOptions& options) {
    ServePools pools;
    asio::io_context context;
    asio::signal_set signals(context, SIGINT, SIGTERM);

    asio::error_code error;
    const auto address = asio::ip::make_address(options.strListen, error);
    if (error) {
        throw std::runtime_error("--listen: \"" + options.strListen +
                                 "\" is no address, such as 127.0.0.1 or 0.0.0.0");
    }
    const tcp::endpoint endpoint(address, static_cast<asio::ip::port_type>(options.nPort));
    tcp::acceptor acceptor(context, endpoint);
    const int nPort = acceptor.local_endpoint().port();
    std::cout << "listening on " << options.strListen << ":" << nPort << std::endl;
    if (!options.strPortFile.empty()) WritePortFile(options.strPortFile, nPort);

    signals.async_wait([&](asio::error_code, int nSignal) {
        Log("stopping on signal " + std::to_string(nSignal));
        context.stop();
    });
    asio::co_spawn(context, Accept(acceptor, store, pools, options), asio::detached);

    std::vector<std::thread> vecThreads;
    const unsigned nThreads = std::max(2U, std::thread::hardware_concurrency());
    for (unsigned i = 1; i < nThreads; ++i) vecThreads.emplace_back([&] { context.run(); });
    context.run();
    for (auto& thread : vecThreads) thread.join();
    // What is running still refers to its connection; formulas that wait are given up.
    pools.turns.Stop();
    pools.passwords.join();
    pools.formulas.join();
    Log("stopped");
}

}  // namespace qrx::server
