// cli_run.h - runs the built mailsift program with arguments and collects its
// exit status, standard output and standard error.
#pragma once

#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "tests/support/memory_object.h"

extern char** environ;

struct CliResult {
    int status = -1;      // the exit status; -1 when it didn't exit normally
    int signal = 0;       // the signal that ended it, if any
    std::string out;
    std::string err;
};

// `env` entries ("NAME=value") are added to the inherited environment, by
// running the program through env(1).
inline CliResult RunCli(const std::vector<std::string>& args,
                        const std::vector<std::string>& env = {}) {
    std::string outName = (OwnTempFolder() / "out-XXXXXX").string();
    std::string errName = (OwnTempFolder() / "err-XXXXXX").string();
    const int outFd = mkstemp(outName.data());
    const int errFd = mkstemp(errName.data());
    CliResult result;
    if (outFd < 0 || errFd < 0) return result;

    std::vector<std::string> argStore = {"/usr/bin/env"};
    argStore.insert(argStore.end(), env.begin(), env.end());
    argStore.push_back(MAILSIFT_CLI);
    argStore.insert(argStore.end(), args.begin(), args.end());
    std::vector<char*> argv;
    for (std::string& arg : argStore) argv.push_back(arg.data());
    argv.push_back(nullptr);

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, outFd, 1);
    posix_spawn_file_actions_adddup2(&actions, errFd, 2);
    pid_t pid = 0;
    if (posix_spawn(&pid, argv[0], &actions, nullptr, argv.data(), environ) == 0) {
        int wstatus = 0;
        waitpid(pid, &wstatus, 0);
        if (WIFEXITED(wstatus)) result.status = WEXITSTATUS(wstatus);
        if (WIFSIGNALED(wstatus)) result.signal = WTERMSIG(wstatus);
    }
    posix_spawn_file_actions_destroy(&actions);
    close(outFd);
    close(errFd);
    result.out = ReadWholeFile(outName);
    result.err = ReadWholeFile(errName);
    unlink(outName.c_str());
    unlink(errName.c_str());
    return result;
}
