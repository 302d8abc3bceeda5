// Part of every test program.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <stdexcept>

namespace {

namespace fs = std::filesystem;

// A folder for everything that a test program and its child processes put into the temporary folder. Children that
// die or leave without a word, as those of death tests do, remove nothing: the program that started them does.
class TemporaryRoot : public ::testing::Environment {
public:
    void SetUp() override {
        if (std::getenv("HUEVANCE_TEST_ROOT") != nullptr) {
            return;  // a child
        }
        std::string pattern = (fs::temp_directory_path() / "huevance_test_XXXXXX").string();
        if (mkdtemp(pattern.data()) == nullptr) {
            throw std::runtime_error("mkdtemp failed for " + pattern);
        }
        m_path = pattern;
        setenv("HUEVANCE_TEST_ROOT", m_path.c_str(), 1);
        setenv("TMPDIR", m_path.c_str(), 1);
    }
    void TearDown() override {
        std::error_code ignored;
        if (!m_path.empty()) {
            fs::remove_all(m_path, ignored);
        }
    }

private:
    fs::path m_path;
};

[[maybe_unused]] const auto* const g_root = ::testing::AddGlobalTestEnvironment(new TemporaryRoot);

}  // namespace
