extern "C" int aBundleIsMoreThanThis() { return 0; }
