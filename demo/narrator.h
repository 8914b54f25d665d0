/// Tells the story of the walkthrough on standard output, in words for a newcomer, and keeps what the tool
/// itself prints out of the way in a log file.
#pragma once

#include <QString>

#include <cstdio>

class Narrator
{
public:
    /// From here on everything that the library and Qt print goes to the file at `logPath`.
    explicit Narrator(const QString& logPath);
    ~Narrator();
    Narrator(const Narrator&) = delete;
    Narrator& operator=(const Narrator&) = delete;

    void heading(const QString& text);
    void say(const QString& text);
    /// Says `text` with its outcome, and remembers a failure.
    void check(bool holds, const QString& text);

    bool allRight() const { return failures_ == 0; }

private:
    void print(const QString& text);

    std::FILE* audience_;
    int failures_ = 0;
};
