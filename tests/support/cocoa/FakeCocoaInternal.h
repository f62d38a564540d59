#pragma once

#include <QString>

#include <functional>

#import <Foundation/Foundation.h>

// Shared by the parts of the fake.

NSString *fakeText(const QString &text);
QString plainText(NSString *text);
QString describeUrl(NSURL *url);
/// Appends it to FakeCocoa::calls.
void recordCall(const QString &call);
/// The failure that the test has set, or nil.
NSError *fakeError();
/// Aborts the program on any other thread.
void requireMainThread(const char *what);
/// In a method that AppKit allows on the main thread only.
#define MAIN_THREAD requireMainThread(sel_getName(_cmd))
void doOnMainQueue(std::function<void()> work);
/// Runs the work on another thread after a delay.
void doLateElsewhere(std::function<void()> work);
/// Notifies all observers of the name.
void deliver(NSString *name, NSString *about);
void resetFoundation();
void resetWindow();
void resetWorkspace();
