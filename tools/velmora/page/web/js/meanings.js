// What headers and entries of the envelope mean.

export const headers = {
    'authorization': 'Token token= and the SHA-1 that shows that the sender has the secret',
    'accept': 'the answer is to be application/json',
    'content-type': 'the body is application/json',
    'content-encoding': 'gzip: how the body is packed',
    'content-length': 'length of the packed body',
    'x-api-key': 'which application sends',
    'x-bundle-identifier': 'the application’s bundle identifier; (null) when it has none',
    'host': 'HTTP’s own: the service that is meant',
    'accept-encoding': 'HTTP’s own: how the answer may be packed',
    'accept-language': 'HTTP’s own: the language of the answer',
    'connection': 'HTTP’s own: what becomes of the connection',
    'user-agent': 'HTTP’s own: the program that sends; the SDK leaves it out',
};

export const expectedHeaders = ['Authorization', 'Accept', 'Content-Type', 'Content-Encoding',
    'Content-Length', 'X-Api-Key', 'X-Bundle-Identifier'];

export const entries = {
    postDate: 'moment of the post, local time and its offset',
    os: 'always ios, the one value that the service knows',
    vmrId: 'the installation’s own identifier',
    uuid: 'advertising identifier, all zeros by default',
    uuidV: 'vendor identifier of this application on this device',
    bundleId: 'bundle identifier, its last 256 characters',
    sdkVersion: 'the name of the SDK’s version for the service',
    appVersion: 'the application’s version',
    systemVersion: 'version of the operating system',
    deviceModel: 'hardware name as the kernel gives it',
};
