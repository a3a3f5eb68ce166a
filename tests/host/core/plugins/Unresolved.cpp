// A plug-in that needs a function that nobody has.

extern "C" void VarkleTestMissingFunction();

extern "C" void VarklePluginLoad()
{
    VarkleTestMissingFunction();
}

extern "C" void VarklePluginUnload() {}
