// A shared library that is no plug-in.

extern "C" int VarkleTestNothing()
{
    return 0;
}
