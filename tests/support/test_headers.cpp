// Nothing but the precompiled headers that all test programs share.
