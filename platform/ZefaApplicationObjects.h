#pragma once
// The platform's application objects that the hubs pass from the game to listeners untouched:
// the application, the scene, the open-URL contexts and the open-URL options. The library only
// holds pointers to the first three and never looks into any of them.
#include <any>
#include <map>
#include <string>

// Declared here, defined (if at all) by the game's platform layer.
struct ZefaApplication;
struct ZefaScene;
struct ZefaOpenURLContext;

// The options of an open-URL callback, keyed by the platform's option names.
using ZefaOpenURLOptions = std::map<std::string, std::any>;
