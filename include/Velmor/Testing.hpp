/// The doubles that stand in for the system in an application's tests, as they do in the library's own.
#pragma once

#include <Velmor/Testing/FixedDevice.hpp>
#include <Velmor/Testing/ManualExecutor.hpp>
#include <Velmor/Testing/MemoryFiles.hpp>
#include <Velmor/Testing/ScriptedTransport.hpp>
#include <Velmor/Testing/VirtualMicrophone.hpp>
