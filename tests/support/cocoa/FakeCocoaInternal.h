#pragma once

#include <QString>

#include <functional>

#import <Foundation/Foundation.h>

// Shared by FakeFoundation.mm and FakeAppKit.mm.

NSString *fakeText(const QString &text);
QString plainText(NSString *text);
QString describeUrl(NSURL *url);
/// The failure that the test has set, or nil.
NSError *fakeError();
/// Aborts the program on any other thread.
void requireMainThread(const char *what);
void doOnMainQueue(std::function<void()> work);
/// Runs the work on another thread after a delay.
void doLateElsewhere(std::function<void()> work);
/// Notifies all observers of the name.
void deliver(NSString *name, NSString *about);
void resetFoundation();
