#include "platform/macos/MacWorkspace.h"

#include "base/Futures.h"
#include "platform/PlatformError.h"
#include "platform/macos/ApplicationBundles.h"
#include "platform/macos/CocoaText.h"
#include "platform/macos/FrontApplication.h"
#include "platform/macos/FrontProcess.h"
#include "platform/macos/MacProcesses.h"

#include <QFile>
#include <QFileInfo>

#import <AppKit/AppKit.h>

#include <memory>

namespace {
NSURL *fileAddress(const std::filesystem::path &path)
{
    return [NSURL fileURLWithFileSystemRepresentation:path.c_str()
                                          isDirectory:NO
                                        relativeToURL:nil];
}

NSURL *bundleAddress(const QString &location)
{
    return [NSURL fileURLWithFileSystemRepresentation:QFile::encodeName(location).constData()
                                          isDirectory:YES
                                        relativeToURL:nil];
}

// Accepts every address that QUrl encodes; NSURL's parser is stricter than web browsers.
NSURL *address(const QUrl &url)
{
    const QByteArray encoded = url.toEncoded();
    NSData *const bytes = [NSData dataWithBytes:encoded.constData()
                                         length:static_cast<NSUInteger>(encoded.size())];
    return [NSURL URLWithDataRepresentation:bytes relativeToURL:nil];
}

Application record(NSRunningApplication *application)
{
    return ApplicationBundles::running(
        application.processIdentifier, fromCocoa(application.localizedName),
        application.activationPolicy, fromCocoa(application.bundleURL.path));
}

NSWorkspaceOpenConfiguration *activating()
{
    NSWorkspaceOpenConfiguration *const configuration =
        [NSWorkspaceOpenConfiguration configuration];
    configuration.activates = YES;
    return configuration;
}

std::optional<PlatformError> failure(NSError *error)
{
    return error ? std::optional(PlatformError(fromCocoa(error.localizedDescription)))
                 : std::nullopt;
}

using Completion = void (^)(NSRunningApplication *, NSError *);

// AppKit calls the handler on another thread; the promise is settled on the main thread. The
// parameter is a value, because the block outlives this call and copies only values.
Completion settling(std::shared_ptr<QPromise<void>> promise) // NOLINT(*-unnecessary-value-param)
{
    return ^(NSRunningApplication *, NSError *error) {
      const std::optional<PlatformError> problem = failure(error);
      dispatch_async(dispatch_get_main_queue(), ^{
        if (problem)
            promise->setException(*problem);
        promise->finish();
      });
    };
}

std::shared_ptr<QPromise<void>> startedPromise()
{
    auto promise = std::make_shared<QPromise<void>>();
    promise->start();
    return promise;
}

NSRunningApplication *running(ProcessId application)
{
    return [NSRunningApplication
        runningApplicationWithProcessIdentifier:static_cast<pid_t>(application)];
}

// The identifiers of our bundle, if there is one, and of the terminal in which this process runs.
// The shells of some terminals are children of a server that outlives the application, so that it
// is no ancestor; but its identifier is in the environment that it gave to them.
NSArray<NSString *> *identifiers(NSString *bundle, const ProcessRecord &self)
{
    NSMutableArray<NSString *> *const found = [[NSMutableArray alloc] init];
    if (bundle)
        [found addObject:bundle];
    const QString terminal = qEnvironmentVariable("__CFBundleIdentifier");
    if ((self.terminal || self.input) && !terminal.isEmpty())
        [found addObject:toCocoa(terminal)];
    return found;
}

// Without AppKit's event loop, this does not change after the first call, nor does isActive.
std::optional<ProcessId> toldByWorkspace()
{
    NSRunningApplication *const front =
        NSApp.isRunning ? NSWorkspace.sharedWorkspace.frontmostApplication : nil;
    return front ? std::optional(ProcessId{front.processIdentifier}) : std::nullopt;
}
} // namespace

std::optional<Application> MacWorkspace::frontmostApplication()
{
    const std::optional<ProcessId> process = focusedProcess();
    if (!process)
        return std::nullopt;
    NSRunningApplication *const front = running(*process);
    return frontApplication(front ? record(front) : Application{.pid = *process}, *this, m_screen);
}

std::optional<ProcessId> MacWorkspace::focusedProcess()
{
    return FrontProcess::find(toldByWorkspace(), m_screen);
}

std::set<ProcessId> MacWorkspace::ownProcesses()
{
    const MacProcesses processes;
    const ProcessId self{NSProcessInfo.processInfo.processIdentifier};
    std::set<ProcessId> ours =
        m_own.find(processes, self, {QFileInfo(processes.program(self)).fileName()});
    // A copied or renamed bundle has the same identifier.
    // NOLINTNEXTLINE(*-init-variables): the loop sets it
    for (NSString *identifier in identifiers(NSBundle.mainBundle.bundleIdentifier,
                                             processes.record(self).value_or(ProcessRecord()))) {
        // NOLINTNEXTLINE(*-init-variables): the loop sets it
        for (NSRunningApplication *application in
             [NSRunningApplication runningApplicationsWithBundleIdentifier:identifier])
            ours.insert(ProcessId{application.processIdentifier});
    }
    return ours;
}

void MacWorkspace::activate(ProcessId application)
{
    NSRunningApplication *const next = running(application);
    // Since macOS 14, an application can only be activated if the one in front yields.
    if (next && [NSApp respondsToSelector:@selector(yieldActivationToApplication:)])
        [NSApp performSelector:@selector(yieldActivationToApplication:) withObject:next];
    [next activateWithOptions:0];
}

QList<Application> MacWorkspace::runningApplications()
{
    QList<Application> applications;
    // NOLINTNEXTLINE(*-init-variables): the loop sets it
    for (NSRunningApplication *application in NSWorkspace.sharedWorkspace.runningApplications)
        applications.append(record(application));
    return applications;
}

QStringList MacWorkspace::applicationFolders()
{
    return ApplicationBundles::folders();
}

QList<InstalledApplication> MacWorkspace::applicationsIn(const QString &folder)
{
    return ApplicationBundles::in(folder);
}

QString MacWorkspace::displayName(const QString &location)
{
    return ApplicationBundles::name(location);
}

std::optional<QString> MacWorkspace::counterpart(const QString &)
{
    return std::nullopt; // the stock names are those of this system
}

QFuture<void> MacWorkspace::launch(const QString &location)
{
    const std::shared_ptr<QPromise<void>> promise = startedPromise();
    [NSWorkspace.sharedWorkspace openApplicationAtURL:bundleAddress(location)
                                        configuration:activating()
                                    completionHandler:settling(promise)];
    return promise->future();
}

QFuture<void> MacWorkspace::open(const QUrl &url)
{
    const std::shared_ptr<QPromise<void>> promise = startedPromise();
    [NSWorkspace.sharedWorkspace openURL:address(url)
                           configuration:activating()
                       completionHandler:settling(promise)];
    return promise->future();
}

QFuture<void> MacWorkspace::open(const QUrl &url, const QString &location)
{
    const std::shared_ptr<QPromise<void>> promise = startedPromise();
    [NSWorkspace.sharedWorkspace openURLs:@[ address(url) ]
                     withApplicationAtURL:bundleAddress(location)
                            configuration:activating()
                        completionHandler:settling(promise)];
    return promise->future();
}

void MacWorkspace::terminate(ProcessId application)
{
    [running(application) terminate];
}

bool MacWorkspace::hasTerminated(ProcessId application)
{
    // Ended processes are not found any more.
    NSRunningApplication *const found = running(application);
    return !found || found.terminated;
}

void MacWorkspace::reveal(const std::filesystem::path &item)
{
    [NSWorkspace.sharedWorkspace activateFileViewerSelectingURLs:@[ fileAddress(item) ]];
}

void MacWorkspace::trash(const std::filesystem::path &item)
{
    NSError *error = nil;
    if (![NSFileManager.defaultManager trashItemAtURL:fileAddress(item)
                                     resultingItemURL:nil
                                                error:&error])
        throw PlatformError(fromCocoa(error.localizedDescription));
}
