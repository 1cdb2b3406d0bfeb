#pragma once

#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <utility>

namespace glimmerwick {

/// Takes in what is printed on standard error while it lives. What the fuzzer itself prints goes past it.
class CapturedErrors {
public:
    CapturedErrors()
        : m_stream(open_memstream(&m_text, &m_size)), m_standardError(std::exchange(stderr, m_stream))
    {
    }
    ~CapturedErrors()
    {
        stderr = m_standardError;
        std::fclose(m_stream);
        std::free(m_text);
    }
    CapturedErrors(const CapturedErrors&) = delete;
    CapturedErrors& operator=(const CapturedErrors&) = delete;

    std::string text()
    {
        std::fflush(m_stream);
        return {m_text, m_size};
    }

private:
    char* m_text = nullptr;
    std::size_t m_size = 0;
    std::FILE* m_stream;
    std::FILE* m_standardError;
};

} // namespace glimmerwick
