#include "shared/Categories/NSTask+Convenience.h"

#include <memory>
#include <new>

#include "platform/process/Assert.h"
#include "platform/tasks/Task.h"
#include "platform/text/String.h"

namespace qvx::NSTask {

namespace {

void check(bool holds, const char* condition, unsigned line) {
    if (!holds)
        platform::assertionFailed(
            condition,
            "+[NSTask(Convenience) launchWithPath:workingDirectory:arguments:environment:completion:]",
            "shared/Categories/NSTask+Convenience", line);
}

} // namespace

void launchWithPath(std::string_view path, const std::optional<std::string>& workingDirectory,
                    const Arguments& arguments, const Variables& environment, const Completion& completion) {
    // Assertions like those of the other classes: what they print is an interface.
    const std::unique_ptr<platform::Task> task(new (std::nothrow) platform::Task);
    check(task != nullptr, "task", 28);
    std::optional<platform::Pipe> stdoutPipe = platform::Pipe::pipe();
    // Never written to and open until the child has ended: a child that reads waits instead of taking what
    // was meant for the build.
    const std::optional<platform::Pipe> stdinPipe = platform::Pipe::pipe();
    std::optional<platform::Pipe> stderrPipe = platform::Pipe::pipe();
    check(stdoutPipe && stdinPipe && stderrPipe, "stdoutPipe && stdinPipe && stderrPipe", 29);

    task->program = {
        .path = std::string(path),
        .words = {std::string(path)},
        .environment = environment,
        .directory = workingDirectory,
        .standard = {stdinPipe->reading.get(), stdoutPipe->writing.get(), stderrPipe->writing.get()}};
    if (arguments)
        task->program.words.insert(task->program.words.end(), arguments->begin(), arguments->end());
    task->launch();
    stdoutPipe->writing.reset(); // or reading would wait for this process's own end
    stderrPipe->writing.reset();
    // Deliberately before its output is read: a child that says more than a pipe holds (64 KiB) waits for
    // ever. Ours says a line at most.
    task->waitUntilExit();

    const platform::Data standardError = platform::readDataToEndOfFile(stderrPipe->reading);
    const platform::Data standardOutput = platform::readDataToEndOfFile(stdoutPipe->reading);
    completion(standardError, standardOutput, task->terminationStatus());
}

void launchWithPath(std::string_view path, const std::optional<std::string>& workingDirectory,
                    const Arguments& arguments, const Completion& completion) {
    launchWithPath(path, workingDirectory, arguments, std::nullopt, completion);
}

std::optional<std::string> stderrWithLaunchPath(std::string_view path, const Arguments& arguments) {
    std::optional<std::string> text;
    launchWithPath(path, std::nullopt, arguments,
                   [&](const platform::Data& standardError, const platform::Data&, int32_t) {
                       text = platform::stringWithUTF8String(standardError.string());
                   });
    return text;
}

std::optional<std::string> stdoutWithLaunchPath(std::string_view path, const Arguments& arguments) {
    std::optional<std::string> text;
    launchWithPath(path, std::nullopt, arguments,
                   [&](const platform::Data&, const platform::Data& standardOutput, int32_t) {
                       text = platform::stringWithUTF8String(standardOutput.string());
                   });
    return text;
}

bool runTaskWithLaunchPath(std::string_view path, const std::optional<std::string>& currentDirectoryPath,
                           const Arguments& arguments) {
    bool succeeded = false;
    launchWithPath(
        path, currentDirectoryPath, arguments,
        [&](const platform::Data&, const platform::Data&, int32_t status) { succeeded = status == 0; });
    return succeeded;
}

bool runTaskWithLaunchPath(std::string_view path, const Arguments& arguments) {
    return runTaskWithLaunchPath(path, std::nullopt, arguments);
}

} // namespace qvx::NSTask
