/// Standard output is handed to the tool's log file; the story goes to a copy of the original.
#include "demo/narrator.h"

#include <cstdlib>
#include <unistd.h>

Narrator::Narrator(const QString& logPath)
    : audience_(fdopen(dup(STDOUT_FILENO), "w"))
{
    if (!audience_ || !std::freopen(qPrintable(logPath), "w", stdout) ||
        dup2(STDOUT_FILENO, STDERR_FILENO) < 0) {
        std::perror("walkthrough: cannot set up its output");
        std::exit(EXIT_FAILURE);
    }
}

Narrator::~Narrator()
{
    std::fclose(audience_);
}

void Narrator::heading(const QString& text)
{
    print(QString("\n%1\n%2").arg(text, QString(text.size(), '-')));
}

void Narrator::say(const QString& text)
{
    print("  " + text);
}

void Narrator::check(bool holds, const QString& text)
{
    print(QString(holds ? "  [ok]   %1" : "  [FAIL] %1").arg(text));
    failures_ += holds ? 0 : 1;
}

void Narrator::print(const QString& text)
{
    std::fprintf(audience_, "%s\n", qPrintable(text));
    std::fflush(audience_);
}
