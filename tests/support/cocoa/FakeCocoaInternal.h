#pragma once

#include <QString>

#include <functional>

#import <Foundation/Foundation.h>

// What the two halves of the stand-in share.

NSString *fakeText(const QString &text);
QString plainText(NSString *text);
QString describeUrl(NSURL *url);
/// The failure that the test has asked for, or nil.
NSError *fakeError();
/// Ends the program on any other thread.
void requireMainThread(const char *what);
void doOnMainQueue(std::function<void()> work);
/// On a thread of the system's own, after a while.
void doLateElsewhere(std::function<void()> work);
/// To all observers of that name.
void deliver(NSString *name, NSString *about);
void resetFoundation();
