// init, user and serve.
#include "commands.h"

#include <algorithm>
#include <iostream>
#include <memory>
#include <utility>

#include "serve/server.h"
#include "store/store.h"
#include "users/password.h"

namespace qrx::server {
namespace {

// Login carries 32 markets of four characters, and clients accept fewer than 32.
constexpr size_t kMaxMarkets = 31;
constexpr size_t kMaxMarketBytes = 4;

struct Refusal : std::runtime_error {
    using std::runtime_error::runtime_error;
};

struct UserArguments {
    std::string strDb;
    std::string strName;
    std::vector<std::string> vecMarkets;
    std::string strPasswordFile;
};

void AddUser(const UserArguments& arguments) {
    UserRow user{arguments.strName, {}, arguments.vecMarkets};
    if (user.strName.empty() || user.strName.size() > kMaxUserBytes) {
        throw Refusal("a user name has 1 to " + std::to_string(kMaxUserBytes) + " bytes");
    }
    const std::vector<std::string> vecGiven = std::exchange(user.vecMarkets, {});
    for (std::string strMarket : vecGiven) {
        if (strMarket.empty() || strMarket.size() > kMaxMarketBytes) {
            throw Refusal("a market has 1 to 4 characters: " + strMarket);
        }
        std::transform(strMarket.begin(), strMarket.end(), strMarket.begin(),
                       [](char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 32) : c; });
        // A market that is named twice would be shown twice to the client.
        if (std::find(user.vecMarkets.begin(), user.vecMarkets.end(), strMarket) ==
            user.vecMarkets.end()) {
            user.vecMarkets.push_back(strMarket);
        }
    }
    if (user.vecMarkets.size() > kMaxMarkets) {
        throw Refusal("a user has at most " + std::to_string(kMaxMarkets) + " markets");
    }
    const auto pStore = OpenSqliteStore(arguments.strDb);
    if (pStore->FindUser(user.strName)) throw Refusal("user " + user.strName + " exists already");
    const std::string strPassword = arguments.strPasswordFile.empty()
                                        ? AskPassword("Password of " + user.strName + ": ")
                                        : ReadPasswordFile(arguments.strPasswordFile);
    if (strPassword.empty() || strPassword.size() > kMaxPasswordBytes) {
        throw Refusal("a password has 1 to " + std::to_string(kMaxPasswordBytes) + " bytes");
    }
    user.strHash = HashPassword(strPassword);
    if (!pStore->AddUser(user)) throw Refusal("user " + user.strName + " exists already");
}

void ListUsers(const UserArguments& arguments) {
    for (const auto& user : OpenSqliteStore(arguments.strDb)->Users()) {
        std::cout << user.strName << "\t";
        const char* szComma = "";
        for (const auto& strMarket : user.vecMarkets) {
            std::cout << szComma << strMarket;
            szComma = ",";
        }
        std::cout << "\n";
    }
}

template <class Options>
CLI::App* AddDb(CLI::App* pCommand, const std::shared_ptr<Options>& p) {
    pCommand->add_option("--db", p->strDb, "The store's file")->required()->type_name("FILE");
    return pCommand;
}

}  // namespace

void AddInitCommand(CLI::App& app) {
    const auto p = std::make_shared<UserArguments>();
    AddDb(app.add_subcommand("init", "Make an empty store"), p)->callback([p] {
        CreateSqliteStore(p->strDb);
    });
}

void AddUserCommands(CLI::App& app) {
    const auto p = std::make_shared<UserArguments>();
    CLI::App* pUser = app.add_subcommand("user", "Users and the markets open to them");
    pUser->require_subcommand(1);
    CLI::App* pAdd = AddDb(pUser->add_subcommand("add", "Add a user"), p);
    pAdd->add_option("name", p->strName, "User name, at most 16 bytes")->required()->type_name("");
    pAdd->add_option("--markets", p->vecMarkets, "Markets, such as SH,SZ")
        ->delimiter(',')
        ->allow_extra_args(false)  // the name may follow
        ->type_name("A,B");
    pAdd->add_option("--password-file", p->strPasswordFile,
                     "Take the password from the first line of a file instead of asking")
        ->type_name("FILE");
    pAdd->callback([p] { AddUser(*p); });
    AddDb(pUser->add_subcommand("list", "List users and their markets"), p)->callback([p] {
        ListUsers(*p);
    });
    CLI::App* pRemove = AddDb(pUser->add_subcommand("remove", "Remove a user"), p);
    pRemove->add_option("name", p->strName, "User name")->required()->type_name("");
    pRemove->callback([p] {
        if (!OpenSqliteStore(p->strDb)->RemoveUser(p->strName)) {
            throw Refusal("there is no user " + p->strName);
        }
    });
}

void AddServeCommand(CLI::App& app) {
    struct Arguments {
        std::string strDb;
        ServeOptions options;
        int64_t nIdle = ServeOptions{}.idle.count();
        int64_t nStall = ServeOptions{}.stall.count();
    };
    const auto p = std::make_shared<Arguments>();
    // Nobody is served with less than 1 of a limit; the most is beyond any use.
    const auto limit = CLI::Range(1, 100000000).description("");
    CLI::App* pServe =
        AddDb(app.add_subcommand("serve", "Serve a store until SIGTERM or Ctrl-C"), p);
    pServe->add_option("--listen", p->options.strListen, "Address to listen on")
        ->capture_default_str()
        ->type_name("ADDRESS");
    pServe->add_option("--port", p->options.nPort, "Port; 0: any free one")
        ->capture_default_str()
        ->check(CLI::Range(0, 65535).description(""))
        ->type_name("N");
    pServe
        ->add_option("--port-file", p->options.strPortFile,
                     "File that receives the port once it is open")
        ->type_name("FILE");
    pServe->add_option("--max-connections", p->options.nMaxConnections, "Connections at a time")
        ->check(limit)
        ->capture_default_str()
        ->type_name("N");
    pServe->add_option("--idle", p->nIdle, "Seconds that a client may rest between requests")
        ->check(limit)
        ->capture_default_str()
        ->type_name("N");
    pServe->add_option("--stall", p->nStall, "Seconds that a request or packet may take")
        ->check(limit)
        ->capture_default_str()
        ->type_name("N");
    pServe->callback([p] {
        p->options.idle = std::chrono::seconds(p->nIdle);
        p->options.stall = std::chrono::seconds(p->nStall);
        const auto pStore = OpenSqliteStore(p->strDb);
        Serve(*pStore, p->options);
    });
}

}  // namespace qrx::server
