// A store in a folder of its own, the commands of qrx-server on it, and what a client gets of it.
#ifndef QRX_TESTS_SERVER_TEST_STORE_H
#define QRX_TESTS_SERVER_TEST_STORE_H

#include "server/server_client.h"

namespace qrx::test {

class TestStore {
public:
    TestStore() { Must({"init"}); }

    CommandResult Command(std::vector<std::string> vecArguments) const {
        vecArguments.insert(vecArguments.end(), {"--db", m_strDb});
        return RunServerCommand(vecArguments);
    }
    void Must(const std::vector<std::string>& vecArguments) const {
        const auto result = Command(vecArguments);
        ASSERT_EQ(0, result.nExit) << result.strOutput;
    }
    CommandResult TryUser(const std::string& strName, const std::string& strMarkets,
                          const std::string& strPassword = "secret") const {
        return Command({"user", "add", strName, "--markets", strMarkets, "--password-file",
                        m_folder.Write("password", strPassword + "\n")});
    }
    void AddUser(const std::string& strName, const std::string& strMarkets) const {
        ASSERT_EQ(0, TryUser(strName, strMarkets).nExit);
    }
    // A file of this text.
    CommandResult TryImport(const std::string& strKind, const std::string& strText,
                            const std::vector<std::string>& vecOptions = {}) const {
        std::vector<std::string> vec{"import", strKind, m_folder.Write("in.csv", strText)};
        vec.insert(vec.end(), vecOptions.begin(), vecOptions.end());
        return Command(vec);
    }
    void Import(const std::string& strKind, const std::string& strText,
                const std::vector<std::string>& vecOptions = {}) const {
        const auto result = TryImport(strKind, strText, vecOptions);
        ASSERT_EQ(0, result.nExit) << result.strOutput;
    }
    // Asks a server that is started on what is stored so far, as alice.
    template <class Record, class Request>
    std::vector<Record> Fetch(int nType, const Request& request) {
        const ServerProcess server(m_folder, m_strDb);
        ServerClient client(server, "alice");
        return client.Fetch<Record>(nType, request, &m_vecMessages);
    }

    ScratchFolder m_folder;
    std::string m_strDb = m_folder.Path("store.db");
    std::vector<Message> m_vecMessages;  // the packets of the last answer
};

inline void ExpectRefused(const CommandResult& result, const std::string& strText) {
    EXPECT_EQ(1, result.nExit) << strText;
    EXPECT_NE(std::string::npos, result.strOutput.find(strText))
        << strText << " is not in: " << result.strOutput;
}

template <class Record>
void ExpectRecords(const std::vector<Record>& vecGot, const std::vector<Record>& vecWant) {
    ASSERT_EQ(vecGot.size(), vecWant.size());
    for (size_t i = 0; i < vecGot.size(); ++i) {
        EXPECT_EQ(Bytes(vecGot[i]), Bytes(vecWant[i])) << "record " << i;
    }
}

class StoreTest : public testing::Test, protected TestStore {};

}  // namespace qrx::test

#endif
