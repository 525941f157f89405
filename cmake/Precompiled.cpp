// Without code: it stands for the headers that are compiled ahead of others (Precompiled.cmake).
