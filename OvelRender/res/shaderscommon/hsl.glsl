// Turns the hue by change.x (1 is a whole turn), scales the saturation by 1 + change.y and adds change.z to the
// lightness: a rotation about the grey axis instead of a conversion there and back.
mediump vec3 changeHsl(mediump vec3 rgb, mediump vec3 change)
{
    const mediump vec3 axis = vec3(0.57735);
    mediump float angle = 6.28319 * change.x;
    mediump vec3 turned =
        rgb * cos(angle) + cross(axis, rgb) * sin(angle) + axis * dot(axis, rgb) * (1.0 - cos(angle));
    mediump vec3 grey = vec3(dot(turned, vec3(0.33333)));
    return clamp(mix(grey, turned, 1.0 + change.y) + change.z, 0.0, 1.0);
}
