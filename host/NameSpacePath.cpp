#include "host/NameSpacePath.h"

CTovaNameSpacePath::CTovaNameSpacePath(const TOVString& host, const TOVString& nameSpace)
    : _host(host), _nameSpace(nameSpace) {}

TOVString CTovaNameSpacePath::getHost() const { return _host; }

TOVString CTovaNameSpacePath::getNameSpace() const { return _nameSpace; }
