// Puts the page together.

import {devicesView} from './devices.js';
import {frame} from './frame.js';
import {startKeys} from './keys.js';
import {look, startLook} from './look.js';
import {requestsView} from './requests.js';
import {startSelection} from './selection.js';
import {on} from './store.js';
import {startStream} from './stream.js';

startSelection();
const main = document.getElementById('main');
const views = {requests: requestsView(), devices: devicesView()};

document.getElementById('top').append(frame());
main.append(...Object.values(views));
on('look', () => {
    for (const [name, view] of Object.entries(views)) {
        view.hidden = name !== look.view;
    }
});
startLook();
startKeys();
startStream();
