'use strict';
